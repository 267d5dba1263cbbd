// SPDX-License-Identifier: Apache-2.0
//
// FileMapping on the system's own calls: the mapping library opens files by names in the code page alone.
#include <boost/interprocess/exceptions.hpp>

#include "platform/platform.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

using boost::interprocess::interprocess_exception;

[[noreturn]] void ThrowLastError() {
  throw interprocess_exception(boost::interprocess::error_info(boost::interprocess::system_error_code()));
}

}  // namespace

struct FileMapping::Impl {
  const void* view = nullptr;
  uint64_t size = 0;
  ~Impl() {
    if (view != nullptr) ::UnmapViewOfFile(view);
  }
};

// The view holds the file for as long as it stands; both handles may go.
FileMapping::FileMapping(const std::string& path) : impl_(std::make_unique<Impl>()) {
  const Handle file(::CreateFileW(Wide(path).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.ok()) ThrowLastError();
  if (::GetFileType(file.get()) != FILE_TYPE_DISK) throw interprocess_exception("not a plain file");
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(file.get(), &size) == 0) ThrowLastError();
  const Handle mapping(::CreateFileMappingW(file.get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
  if (!mapping.ok()) ThrowLastError();
  impl_->view = ::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0);
  if (impl_->view == nullptr) ThrowLastError();
  impl_->size = static_cast<uint64_t>(size.QuadPart);
}

FileMapping::~FileMapping() = default;

const void* FileMapping::data() const { return impl_->view; }

uint64_t FileMapping::size() const { return impl_->size; }

}  // namespace TSEG::platform
