#include "scan/platform/Platform.h"
#include "scan/platform/SharedFile.h"

#include <windows.h>

#include <algorithm>

namespace QuorViewer {

namespace {

class Handle : public SharedFile {
 public:
  explicit Handle(HANDLE handle) : _handle(handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() override { ::CloseHandle(_handle); }

  std::uint64_t size() const override {
    LARGE_INTEGER bytes{};
    return ::GetFileSizeEx(_handle, &bytes) != 0 ? static_cast<std::uint64_t>(bytes.QuadPart) : 0;
  }

  // Each call states its offset, so that threads do not disturb each other.
  std::size_t read(std::uint64_t offset, unsigned char* to, std::size_t count, std::error_code& error) const override {
    constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
    std::size_t done = 0;
    while (done < count) {
      OVERLAPPED place{};
      place.Offset = static_cast<DWORD>((offset + done) & 0xFFFFFFFFU);
      place.OffsetHigh = static_cast<DWORD>((offset + done) >> 32U);
      DWORD got = 0;
      const auto wanted = static_cast<DWORD>(std::min(count - done, kMostBytes));
      const bool isRead = ::ReadFile(_handle, to + done, wanted, &got, &place) != 0;
      if (!isRead && ::GetLastError() != ERROR_HANDLE_EOF) {
        error.assign(static_cast<int>(::GetLastError()), std::system_category());
      }
      if (!isRead || got == 0) {
        break;
      }
      done += got;
    }
    return done;
  }

 private:
  HANDLE _handle;
};

}  // namespace

std::shared_ptr<const SharedFile> SharedFile::open(const std::string& path, std::error_code& error) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE const handle = ::CreateFileW(toPath(path).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle != INVALID_HANDLE_VALUE) {
    return std::make_shared<Handle>(handle);
  }
  error.assign(static_cast<int>(::GetLastError()), std::system_category());
  return nullptr;
}

}  // namespace QuorViewer
