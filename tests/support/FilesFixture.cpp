#include "support/FilesFixture.h"

#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace QuorTests {

std::vector<ListedView> listedViews(const std::string& path) {
  std::vector<ListedView> views;
  std::ifstream listing("/proc/self/maps");
  for (std::string line; std::getline(listing, line);) {
    // start-end rights offset device inode, and after some blanks the path
    const std::size_t place = line.find('/');
    if (place == std::string::npos || line.substr(place) != path) continue;
    std::istringstream fields(line);
    std::uintptr_t end = 0;
    ListedView view;
    char dash = 0;
    std::string rights;
    fields >> std::hex >> view.start >> dash >> end >> rights >> view.offset;
    view.bytes = end - view.start;
    views.push_back(view);
  }
  return views;
}

std::vector<int> listedDescriptors(const std::string& path) {
  std::vector<int> descriptors;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) == path) {
      descriptors.push_back(std::stoi(entry.path().filename().string()));
    }
  }
  return descriptors;
}

std::size_t countOfDescriptors() {
  using Listing = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Listing("/proc/self/fd"), Listing()));
}

std::int64_t pageBytes() {
  return ::sysconf(_SC_PAGESIZE);
}

std::string gbk(const std::string& utf8) {
  const iconv_t conversion = ::iconv_open("GBK", "UTF-8");
  if (conversion == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("the system has no conversion to GBK");
  std::string source = utf8;
  std::string result(2 * utf8.size(), '\0');
  char* from = source.data();
  char* to = result.data();
  std::size_t fromLeft = source.size();
  std::size_t toLeft = result.size();
  const std::size_t outcome = ::iconv(conversion, &from, &fromLeft, &to, &toLeft);
  ::iconv_close(conversion);
  if (outcome != 0 || fromLeft != 0) throw std::runtime_error("the text has no form in GBK");
  result.resize(result.size() - toLeft);
  return result;
}

std::string readPlainly(const std::string& path, std::int64_t offset, std::int64_t size) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  file.seekg(offset);
  file.read(bytes.data(), size);
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

FilesFixture::FilesFixture() {
  std::string name = (std::filesystem::temp_directory_path() / "quor_files_XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
  _folder = std::filesystem::canonical(name).string();
}

FilesFixture::~FilesFixture() {
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}

std::string FilesFixture::path(const std::string& name) const {
  return _folder + "/" + name;
}

std::string FilesFixture::makeFile(const std::string& name, std::int64_t size) const {
  std::mt19937 random(7);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  std::ofstream(path(name), std::ios::binary).write(bytes.data(), size);
  return path(name);
}

std::string FilesFixture::makeSparseFile(const std::string& name, std::int64_t size,
                                         const std::vector<std::pair<std::int64_t, std::string>>& texts) const {
  std::ofstream file(path(name), std::ios::binary);
  for (const auto& [offset, text] : texts) file.seekp(offset) << text;
  file.close();
  std::filesystem::resize_file(path(name), static_cast<std::uintmax_t>(size));
  return path(name);
}

}  // namespace QuorTests
