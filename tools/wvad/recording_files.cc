// SPDX-License-Identifier: Apache-2.0
#include "wvad/recording_files.h"

#include <algorithm>
#include <utility>

#include "wvad/file_system.h"
#include "wvad/piece_list.h"

namespace TSEG::tool {

std::vector<std::string> FilesOfRecording(const std::string& name) {
  std::vector<std::string> files = {name};
  if (name == "-" || LookAt(name).kind != FileKind::kFile) return files;
  for (std::string& piece : PiecesOf(name)) {
    if (LookAt(piece).kind == FileKind::kFile) files.push_back(std::move(piece));
  }
  return files;
}

uint64_t SizeOfRecording(const std::string& name) {
  uint64_t bytes = 0;
  for (const std::string& file : FilesOfRecording(name)) bytes += SizeOf(file);
  return bytes;
}

bool IsRecordingNewer(const std::string& name, const std::string& than) {
  const std::vector<std::string> files = FilesOfRecording(name);
  return std::any_of(files.begin(), files.end(), [&than](const std::string& file) { return IsNewer(file, than); });
}

}  // namespace TSEG::tool
