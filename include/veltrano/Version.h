/* SPDX-License-Identifier: MIT
 * Version.h - the version that a program is compiled against. docs/compatibility.md says what a version promises.
 */
#pragma once

#define VELTRANO_VERSION "1.0.0"
#define VELTRANO_VERSION_NUMBER 10000 /* major * 10000 + minor * 100 + patch */
