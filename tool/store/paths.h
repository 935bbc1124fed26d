// Paths: directories, files next to a store, and their attributes.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <vector>

namespace vrrpconvert {

// Returns the directory at `path`, the current one if it is empty, with every symbolic link resolved. Throws Error.
std::filesystem::path existing_directory(const std::filesystem::path& path);

// Returns the files in a directory in the order of their names; none if it cannot be read.
std::vector<std::filesystem::path> files_in(const std::filesystem::path& directory);

// Returns the temporary files of stores in `directory`: a killed process left them, or a process is writing them.
inline constexpr char unfinished_file_text[] =
    "Temporary file of a killed or running process, which may contain a store: ";
std::vector<std::filesystem::path> unfinished_files_in(const std::filesystem::path& directory);

// Returns the inode number of the file at `path`, or 0 if there is none.
ino_t file_number(const std::filesystem::path& path);

// Returns the attribute that forbids even root to change the file at `path`, and the command that removes it; null if
// there is none.
const char* protection_of(const std::filesystem::path& path);

inline bool path_exists(const std::filesystem::path& path) { return file_number(path) != 0; }

}  // namespace vrrpconvert
