// SPDX-License-Identifier: Apache-2.0
//
// What an application sets on the element, and what follows from it: one Configuration.
//
// A setting that nobody has set is the profile's, in whichever order the properties come. Setting and reading may happen on any thread,
// while audio flows: the streaming thread looks at a copy, and at the number of changes.
#ifndef WVAD_GSTREAMER_PROPERTIES_H_
#define WVAD_GSTREAMER_PROPERTIES_H_

#include <gst/gst.h>
#include <wvad_stream.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace TSEG::gst {

inline constexpr size_t kSettingCount = 9;

// What becomes of audio outside of sentences.
enum class Mode { kPass, kCut, kMute };

struct Configuration {
  Mode mode = Mode::kPass;
  wvad_settings settings{};
  int channel = 0;    // that is listened to, from 1; 0 for the mean of all
  std::string model;  // a bundled one's name, a path, or empty for the one that suits profile and rate
  bool post_messages = true;
  bool post_probabilities = false;
};

class Properties {
 public:
  // Describes all of them to GObject, for gst-inspect-1.0 and for its checks of ranges.
  static void Install(GObjectClass* object_class);

  // False for a property that there is not.
  bool Set(guint id, const GValue* value);
  bool Get(guint id, GValue* value) const;

  Configuration Copy() const;
  // Goes up with each Set.
  uint64_t changes() const;

 private:
  mutable std::mutex lock_;
  Configuration given_;  // without its settings
  int32_t profile_ = WVAD_PROFILE_DEFAULT;
  std::array<std::optional<double>, kSettingCount> set_;
  uint64_t changes_ = 0;
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_PROPERTIES_H_
