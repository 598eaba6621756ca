#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace QuorViewer {

/// What the viewer and quor_make_scan ask of the operating system itself; a file for each.

/// Runs `work`, which reads mapped files. Where it touches a page that its file no longer has, because the file became
/// shorter, or that the disk cannot deliver, the work is left on the spot and the answer is the address touched.
/// No destructor runs on the way out: inside of `work` nothing may own anything. What it throws goes through. Any
/// thread, each for itself; not within itself.
std::optional<std::uintptr_t> faultWhile(const std::function<void()>& work);

/// The memory that the machine, or the container that the process runs in, has in all. Bytes; 0 where it is not told.
std::uint64_t machineMemoryBytes();

/// The memory that the process takes up at the moment. Bytes; 0 where it is not told.
std::uint64_t processMemoryBytes();
/// Gives memory back to the system that was freed and only kept for later.
void returnFreeMemory();

/// Names of files are text in the user's own encoding: so the command line gives them, and so the library, the engine
/// and the streams take them. The standard library's own reading of such names differs between compilers; so this is
/// the way to a place from its name, and back. Letters that the encoding does not have become question marks.
std::filesystem::path placeOf(const std::string& name);
std::string nameOf(const std::filesystem::path& place);
/// Such a name, or a sentence of the system with its reasons, as text for a window or for a file that others read.
std::string utf8Of(const std::string& inUsersEncoding);

/// Where the program that runs stands.
std::filesystem::path programFolder();

/// Whether the standard error stream is read by somebody at a terminal.
bool errorStreamIsTerminal();

}  // namespace QuorViewer
