// SPDX-License-Identifier: Apache-2.0
//
// DebugWatch: records what passes a fixed point of the pipeline into a file per sentence, and compares with the file where one stands
// already.
//
// Diagnostics: no failure reaches a caller, all go to the log. Used under the thread discipline of its instance.
#ifndef WVAD_DUMPS_DEBUG_WATCH_H_
#define WVAD_DUMPS_DEBUG_WATCH_H_

#include <cstdint>
#include <string>
#include <vector>

namespace TSEG {

class DebugWatch {
 public:
  // `name` begins the file names; `nItemSize` is 2 or 4 bytes.
  DebugWatch(const char* name, uint32_t nItemSize);
  ~DebugWatch();
  DebugWatch(const DebugWatch&) = delete;
  DebugWatch& operator=(const DebugWatch&) = delete;

  std::string name;
  std::string path;        // file of the current piece, relative to the current folder
  std::string sid;         // session name, as last armed
  uint32_t nFileSize = 0;  // size of the reference file
  uint32_t nMode = 2;      // 0 recording, 1 comparing, 2 never armed
  std::vector<uint8_t> pData;
  int32_t nUsed = 0;  // bytes recorded or compared so far
  int32_t nCapacity = 1048576;
  uint8_t bOn = 0;
  uint32_t nItemSize;
  uint8_t bForceHtk = 0;    // never set
  uint32_t nPerRecord = 1;  // items per record of the dump
  int32_t nSubIndex = 0;    // number of the piece

  // Sets it up for a new piece under the session name `sid`; records, or compares if the file exists.
  void arm(const std::string& sid, bool bOn);
  // One record of traffic.
  void add(const void* data, int32_t nBytes);
  // Ends a piece: writes or checks.
  void stop();
  // stop, next sub-file if anything had been seen, arm again.
  void roll();
};

}  // namespace TSEG

#endif  // WVAD_DUMPS_DEBUG_WATCH_H_
