// SPDX-License-Identifier: Apache-2.0
//
// Which of its forms a bundled model is taken in for a recording: NAME hears 16000 Hz, NAME_8k hears 8000 Hz, each as it was trained.
//
// A recording of 8000 Hz holds nothing above 4 kHz. Brought to 16000 Hz it would leave the upper bands of NAME empty, and cost twice the
// work. The recording's own rate decides, never that of others in the same run, so that its result does not hang on its company.
#ifndef WVAD_WVAD_MODEL_CHOICE_H_
#define WVAD_WVAD_MODEL_CHOICE_H_

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "wvad/audio_source.h"
#include "wvad/engine_options.h"

namespace TSEG::tool {

constexpr int kNarrowRate = 8000;
constexpr const char* kNarrowEnding = "_8k";

class ModelChoice {
 public:
  // There is a choice where the model is asked for by its bare name, the first folder that has it has NAME_8k too, and the settings ask for
  // no rate of the sessions; such a rate chooses for all recordings.
  explicit ModelChoice(const EngineOptions& engine);

  // What hears a recording of `rate_hz`; 0 where its rate is not known, which counts as a high one.
  const std::string& For(int rate_hz) const { return !narrow_.empty() && rate_hz > 0 && rate_hz <= kNarrowRate ? narrow_ : model_; }
  // Whether it hangs on the recording at all.
  bool is_open() const { return !narrow_.empty(); }
  // All that it may come to.
  std::vector<std::string> models() const { return is_open() ? std::vector{model_, narrow_} : std::vector{model_}; }

 private:
  std::string model_;
  std::string narrow_;  // empty: `model_` hears everything
};

// The same for engines that hear one recording of `rate_hz` side by side at one rate: NAME_8k for all of them, or for none.
void ChooseForms(std::vector<EngineOptions>& engines, int rate_hz);

// The rate of a recording before it is heard. 0 for what can be opened only once (standard input, pipes, addresses) and what cannot be
// opened at all; raw samples have the rate that was given for them.
int RateAhead(const std::string& name, const SourceOptions& options);

// One `Made` for each form of a model, made when a recording first asks for it. Any thread may ask; where several do, MakeAll() comes
// before, since the start of an engine changes the current folder for a moment.
template <typename Made>
class PerForm {
 public:
  // `make` brings up what its options name. What it throws leaves through For and MakeAll.
  using Make = std::function<std::unique_ptr<Made>(const EngineOptions& options)>;
  PerForm(const EngineOptions& options, Make make) : options_(options), choice_(options), make_(std::move(make)) {}

  Made& For(int rate_hz) { return Named(choice_.For(rate_hz)); }
  void MakeAll() {
    for (const std::string& model : choice_.models()) Named(model);
  }
  const ModelChoice& choice() const { return choice_; }

 private:
  Made& Named(const std::string& model) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [name, made] : made_) {
      if (name == model) return *made;
    }
    EngineOptions options = options_;
    options.model = model;
    made_.emplace_back(model, make_(options));
    return *made_.back().second;
  }

  EngineOptions options_;
  ModelChoice choice_;
  Make make_;
  std::mutex mutex_;
  std::vector<std::pair<std::string, std::unique_ptr<Made>>> made_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MODEL_CHOICE_H_
