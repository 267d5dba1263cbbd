// SPDX-License-Identifier: Apache-2.0
//
// FileMapping over the mapping library. Only a plain file is opened: opening a pipe would wait for its other end.
#include <sys/mman.h>
#include <sys/stat.h>

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/file_mapping.hpp>
#include <boost/interprocess/mapped_region.hpp>

#include "platform/platform.h"

namespace TSEG::platform {

struct FileMapping::Impl {
  boost::interprocess::file_mapping file;
  boost::interprocess::mapped_region region;
};

FileMapping::FileMapping(const std::string& path) : impl_(std::make_unique<Impl>()) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    throw boost::interprocess::interprocess_exception(boost::interprocess::error_info(boost::interprocess::system_error_code()));
  }
  if (!S_ISREG(info.st_mode)) throw boost::interprocess::interprocess_exception("not a plain file");
  impl_->file = boost::interprocess::file_mapping(path.c_str(), boost::interprocess::read_only);
  impl_->region = boost::interprocess::mapped_region(impl_->file, boost::interprocess::read_only);
}

FileMapping::~FileMapping() = default;

const void* FileMapping::data() const { return impl_->region.get_address(); }

uint64_t FileMapping::size() const { return impl_->region.get_size(); }

// The mapping library asks for this in a form that the C library ignores.
void FileMapping::ForgetPages() const { ::madvise(impl_->region.get_address(), impl_->region.get_size(), MADV_DONTNEED); }

}  // namespace TSEG::platform
