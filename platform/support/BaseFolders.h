// SPDX-License-Identifier: MIT
// BaseFolders.h - where this system keeps a user's and the machine's files: the XDG base folders.
#pragma once

#include <string>
#include <string_view>

/// The user's folder named by an environment variable, or `below` the home folder.
///   returns  an absolute path without a "/" at its end; empty when the home folder is not known
///   example  BaseFolders_User("XDG_DATA_HOME", "/.local/share") is "/home/ann/.local/share"
std::string BaseFolders_User(const char* variable, const char* below);

/// The machine's folder: the first absolute one in a variable's list, or `standard`.
///   example  BaseFolders_Local("XDG_DATA_DIRS", "/usr/local/share")
std::string BaseFolders_Local(const char* variable, const char* standard);

/// The file of a preferences domain of this machine.
///   returns  empty if the application's name has a "/", or no home folder is known
std::string BaseFolders_Preferences(std::string_view application, bool isAnyUser);

/// Makes a folder with its missing parents.
///   returns  0, also when it is there already; else the errno
int BaseFolders_Make(const std::string& path, unsigned mode);
