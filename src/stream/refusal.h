// SPDX-License-Identifier: Apache-2.0
//
// Refusal: what the parts of the stream library throw; becomes a status and a message at its border.
#ifndef WVAD_STREAM_REFUSAL_H_
#define WVAD_STREAM_REFUSAL_H_

#include <stdexcept>
#include <string>

#include "wvad_stream.h"

namespace TSEG::stream {

class Refusal : public std::runtime_error {
 public:
  // `status`: below 0. `message`: one line, without its end.
  Refusal(wvad_status status, const std::string& message) : std::runtime_error(message), status_(status) {}
  wvad_status status() const { return status_; }

 private:
  wvad_status status_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_REFUSAL_H_
