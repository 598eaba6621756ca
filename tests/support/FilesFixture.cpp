#include "support/FilesFixture.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>
#include <utility>

namespace QuorTests {

namespace {

constexpr const char* kFolderVariable = "QUOR_TEST_FOLDER";

}  // namespace

std::string readPlainly(const std::string& path, std::int64_t offset, std::int64_t size) {
  std::ifstream file(toPath(path), std::ios::binary);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  file.seekg(offset);
  file.read(bytes.data(), size);
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

// Tests run in parallel, and one process may run several. A process that is started for the rest of a test works in
// that test's folder.
FilesFixture::FilesFixture() {
  if (const char* const given = std::getenv(kFolderVariable); given != nullptr) {
    _folder = given;
    return;
  }
  static std::atomic<int> count{0};
  const std::string name = "quor_files_" + std::to_string(processNumber()) + "_" + std::to_string(++count);
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / name;
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  _folder = std::filesystem::canonical(folder).string();
  _isOwner = true;
  setEnvironment(kFolderVariable, _folder.c_str());
}

FilesFixture::~FilesFixture() {
  if (!_isOwner) {
    return;
  }
  setEnvironment(kFolderVariable, nullptr);
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}

std::string FilesFixture::path(const std::string& name) const {
  return _folder + "/" + name;
}

std::string FilesFixture::makeFile(const std::string& name, std::int64_t size) const {
  std::mt19937 random(7);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random());
  }
  std::ofstream(toPath(path(name)), std::ios::binary).write(bytes.data(), size);
  return path(name);
}

std::string FilesFixture::makeSparseFile(const std::string& name, std::int64_t size,
                                         const std::vector<std::pair<std::int64_t, std::string>>& texts) const {
  std::ofstream file(toPath(path(name)), std::ios::binary);
  for (const auto& [offset, text] : texts) {
    file.seekp(offset) << text;
  }
  file.close();
  std::filesystem::resize_file(toPath(path(name)), static_cast<std::uintmax_t>(size));
  return path(name);
}

}  // namespace QuorTests
