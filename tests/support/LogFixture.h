#pragma once

#include "support/FilesFixture.h"
#include "support/NewProcess.h"

#include <QuorOsgUtils/LogFile.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace QuorTests {

constexpr const char* kLogName = "3Dengine.log";
constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";

inline QuorOsgUtils::LogFile& theLog() {
  return *QuorOsgUtils::LogFile::getInstance();
}

inline void writeOneOfEach() {
  theLog().info("one");
  theLog().debug("two");
  theLog().error("three");
}

/// The part of an entry after the time.
inline std::string entryOf(const std::string& severity, long thread, const std::string& call,
                           const std::string& message) {
  return withNativeLineEnds(" " + severity + " [" + std::to_string(thread) + "] [QuorOsgUtils::LogFile::" + call +
                            "] " + message + "\n\n");
}
inline std::string info(long thread, const std::string& message) {
  return entryOf("INFO ", thread, "info@20", message);
}
inline std::string debug(long thread, const std::string& message) {
  return entryOf("DEBUG", thread, "debug@25", message);
}
inline std::string error(long thread, const std::string& message) {
  return entryOf("ERROR", thread, "error@30", message);
}

inline std::string wholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

/// The log is process-wide and its file depends on the working directory: each test writes in a separate process, in
/// its own working directory.
class LogFixture : public FilesFixture {
 protected:
  static constexpr std::size_t kTimeBytes = 23;  // 2031-05-17 09:41:07.250

  LogFixture() { makeFolder("work"); }
  ~LogFixture() override { std::filesystem::permissions(path("work"), std::filesystem::perms::owner_all); }

  void makeFolder(const std::string& name) const { std::filesystem::create_directory(path(name)); }

  /// Runs the work in a new process with the folder as working directory. Keeps the system's ID of that process's main
  /// thread for `thread`.
  template <typename Work>
  void inNewProcess(const std::string& folder, Work work) const {
    expectInANewProcess([&] {
      std::ofstream(path("thread")) << threadNumber();
      std::filesystem::current_path(path(folder));
      work();
      return true;
    });
  }

  long thread() const { return std::stol(wholeFile(path("thread"))); }
  std::string log(const std::string& folder = "work") const { return wholeFile(path(folder) + "/" + kLogName); }

  /// Expects these entries, byte by byte but for their times, and nothing else.
  static void expectEntries(const std::string& bytes, const std::vector<std::string>& entries) {
    ASSERT_EQ(bytes.substr(0, 3), kByteOrderMark);
    std::size_t place = 3;
    for (const std::string& entry : entries) {
      ASSERT_TRUE(isTime(bytes.substr(place, kTimeBytes))) << "at byte " << place << " of " << bytes.size();
      place += kTimeBytes;
      // A megabyte that differs is not worth printing.
      ASSERT_TRUE(bytes.compare(place, entry.size(), entry) == 0)
          << "expected " << entry.substr(0, 200) << "\nfound " << bytes.substr(place, 200);
      place += entry.size();
    }
    EXPECT_EQ(place, bytes.size());
  }

  static bool isTime(const std::string& text) {
    const std::string form = "0000-00-00 00:00:00.000";
    const auto fits = [](char place, char c) { return place == '0' ? c >= '0' && c <= '9' : c == place; };
    return std::equal(form.begin(), form.end(), text.begin(), text.end(), fits);
  }
};

}  // namespace QuorTests
