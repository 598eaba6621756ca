#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace QuorViewer {

/// What the viewer and quor_make_scan need from the operating system; one source file per system.

/// Runs `work`, which reads mapped files. If it touches a page that can no longer be read, because the file became
/// shorter or the disk failed, `work` is aborted at that instruction and the address touched is returned. No destructor
/// runs in that case: `work` must not own anything. Exceptions pass through. May be called on any thread, but not
/// within itself.
std::optional<std::uintptr_t> runGuarded(const std::function<void()>& work);

/// Total memory of the machine or of the container that the process runs in. In bytes; 0 if unknown.
std::uint64_t machineMemoryBytes();

/// Memory that the process uses at the moment. In bytes; 0 if unknown.
std::uint64_t processMemoryBytes();
/// Returns freed memory that the allocator still keeps to the system.
void returnFreeMemory();

/// File names are in the user's encoding: the command line supplies it, and the library, OSG and the streams expect it.
/// The standard library's own conversion differs between compilers; these two convert a name to a path and back.
/// Characters that the encoding lacks become question marks.
std::filesystem::path toPath(const std::string& name);
std::string fromPath(const std::filesystem::path& place);
/// Converts such a name, or an error message of the system, to UTF-8 for a window or for a file that others read.
std::string utf8Of(const std::string& inUsersEncoding);

/// The folder of the running program.
std::filesystem::path programFolder();

/// The folder for files of this user that programs can create again: XDG_CACHE_HOME or ~/.cache, on Windows the local
/// application data. Empty if the system names none.
std::filesystem::path userCacheFolder();

/// Whether the standard error stream is a terminal.
bool errorStreamIsTerminal();

}  // namespace QuorViewer
