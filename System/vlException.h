// SPDX-License-Identifier: MIT
// vlException.h - what the data streams throw: empty classes, thrown by value and caught by type.
#pragma once

namespace Veltrano {

class ModuleException
{
};

/// An allocation failed.
class OutOfMemoryException : public ModuleException
{
};

/// A stream failed. Not a ModuleException.
class IOException
{
};

/// The input ended, or there is none.
class EOFException : public IOException
{
};

} // namespace Veltrano
