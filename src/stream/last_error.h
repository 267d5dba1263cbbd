// SPDX-License-Identifier: Apache-2.0
//
// The border: runs what is behind an exported function, turns what it throws into a status, and keeps the message for the thread.
#ifndef WVAD_STREAM_LAST_ERROR_H_
#define WVAD_STREAM_LAST_ERROR_H_

#include <exception>
#include <new>
#include <string>

#include "stream/refusal.h"
#include "wvad_stream.h"

namespace TSEG::stream {

// The message of the last refusal on this thread.
const char* LastError();
// Keeps `message` for the thread, the whole characters among its first 511 bytes, and gives `status`. A line end becomes a blank, a byte of
// what is no UTF-8 or would do something to a terminal a question mark.
wvad_status Fail(wvad_status status, const char* message) noexcept;

// Runs `body`, which gives a status of 0 or above or throws.
template <typename Body>
wvad_status AtBorder(const Body& body) noexcept {
  try {
    return body();
  } catch (const Refusal& refusal) {
    return Fail(refusal.status(), refusal.what());
  } catch (const std::bad_alloc&) {
    return Fail(WVAD_E_MEMORY, "memory is exhausted");
  } catch (const std::exception& error) {
    return Fail(WVAD_E_INTERNAL, error.what());
  } catch (...) {
    return Fail(WVAD_E_INTERNAL, "something was thrown that is no std::exception; perhaps by the callback");
  }
}

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_LAST_ERROR_H_
