// SPDX-License-Identifier: Apache-2.0
#include "wvad/live/listen_command.h"

#include <wvad_stream.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "wvad/failure.h"
#include "wvad/live/live_line.h"
#include "wvad/messages.h"
#include "wvad/model_choice.h"
#include "wvad/model_finder.h"
#include "wvad/output.h"
#include "wvad/plain_settings.h"
#include "wvad/quiet_errors.h"
#include "wvad/report_json.h"
#include "wvad/shown.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

void Check(wvad_status status, ExitCode code, const std::string& who) {
  if (status < WVAD_OK) throw Failure(code, who + ": " + wvad_last_error());
}

struct Closed {
  void operator()(wvad_model* model) const { wvad_model_close(&model); }
  void operator()(wvad_stream* stream) const { wvad_stream_close(&stream); }
};

// The line at the foot of the terminal.
class Foot {
 public:
  explicit Foot(bool enabled) : enabled_(enabled) {}
  ~Foot() { Hide(); }
  Foot(const Foot&) = delete;
  Foot& operator=(const Foot&) = delete;

  void Show(const LiveState& state) {
    if (!enabled_) return;
    const size_t width = static_cast<size_t>(std::max(20, TerminalWidth())) - 1;
    std::fprintf(stderr, "\r%s\x1b[K", LiveLine(state, width).c_str());
    std::fflush(stderr);
    shown_ = true;
  }
  void Hide() {
    if (!shown_) return;
    std::fputs("\r\x1b[K", stderr);
    std::fflush(stderr);
    shown_ = false;
  }

 private:
  bool enabled_;
  bool shown_ = false;
};

class Listening {
 public:
  Listening(const ListenOptions& options, Capture& capture, const std::string& device, Output& output)
      : options_(options),
        capture_(capture),
        device_(device),
        output_(output),
        report_(options.format->make(!options.quiet)),
        foot_(!options.quiet && HasLivingTerminal()) {
    OpenStream();
  }

  // To the interrupt, or as long as is asked for. What breaks off is told to its end before its failure leaves.
  void Run() {
    std::optional<Failure> broken;
    Print(report_->Begin());
    try {
      Hear();
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::kOutput) throw;
      broken = failure;
    }
    Check(wvad_stream_finish(stream_.get()), ExitCode::kEngine, device_);
    Tell();
    foot_.Hide();
    output_.Close();
    if (capture_.losses() > 0 && !options_.quiet) {
      SayNote("note: " + device_ + ": sound was lost " + std::to_string(capture_.losses()) + (capture_.losses() == 1 ? " time" : " times") +
              ", since this machine was too busy to fetch it");
    }
    if (broken) throw Failure(*broken);
  }

 private:
  void OpenStream() {
    const int rate_hz = capture_.rate_hz();
    const std::string file = FindModel(ModelChoice(options_.engine).For(rate_hz), options_.engine.models_dir);
    wvad_model* model = nullptr;
    Check(wvad_model_open(file.c_str(), &model), ExitCode::kBadModel, "model");
    const std::unique_ptr<wvad_model, Closed> owned(model);
    const wvad_settings settings = StreamSettings(options_.engine.plain);
    wvad_stream_options stream_options;
    wvad_stream_options_init(&stream_options, sizeof stream_options);
    stream_options.rate_hz = rate_hz;
    stream_options.channels = capture_.channels();
    stream_options.channel = options_.channel;
    stream_options.sample_form = WVAD_SAMPLE_F32;
    stream_options.want = WVAD_WANT_PROBABILITY;
    wvad_stream* stream = nullptr;
    Check(wvad_stream_open(model, &stream_options, &settings, &stream), ExitCode::kBadRate, device_);
    stream_.reset(stream);
  }

  void Hear() {
    constexpr int kWaitMs = 100;
    const size_t channels = static_cast<size_t>(capture_.channels());
    const size_t tenth = std::max<size_t>(1, static_cast<size_t>(capture_.rate_hz()) / 10);
    std::vector<float> piece(tenth / 5 * channels + channels);
    const int64_t most = int64_t{options_.seconds} * capture_.rate_hz();
    std::vector<float> moment;  // of what the level is told
    for (int64_t heard = 0; !Interrupted() && (most == 0 || heard < most);) {
      size_t wanted = piece.size() / channels;
      if (most > 0) wanted = std::min(wanted, static_cast<size_t>(most - heard));
      const size_t frames = capture_.Read(piece.data(), wanted, kWaitMs);
      heard += static_cast<int64_t>(frames);
      Check(wvad_stream_push(stream_.get(), piece.data(), frames * channels * sizeof(float)), ExitCode::kEngine, device_);
      Tell();
      moment.insert(moment.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(frames * channels));
      if (moment.size() < tenth * channels) continue;
      state_.seconds = Seconds(heard, capture_.rate_hz());
      state_.level_db = LevelDb(moment.data(), moment.size());
      foot_.Show(state_);
      moment.clear();
    }
  }

  // All events that are known by now.
  void Tell() {
    wvad_event event;
    event.size = sizeof event;
    while (wvad_stream_next_event(stream_.get(), &event) > 0) {
      if (event.kind == WVAD_EVENT_PROBABILITY) state_.probability = static_cast<double>(event.probability);
      if (event.kind == WVAD_EVENT_SENTENCE_BEGIN) state_.begun = Seconds(event.begin, capture_.rate_hz());
      if (event.kind == WVAD_EVENT_SENTENCE_END) state_.begun.reset();
      Print(report_->Take(event, capture_.rate_hz()));
    }
  }

  void Print(const std::string& text) {
    if (text.empty()) return;
    if (output_.is_terminal()) foot_.Hide();
    output_.Write(text);
  }

  const ListenOptions& options_;
  Capture& capture_;
  std::string device_;
  Output& output_;
  std::unique_ptr<LiveReport> report_;
  Foot foot_;
  std::unique_ptr<wvad_stream, Closed> stream_;
  LiveState state_;
};

// One channel where that is enough, else as many as it takes to have the one that is wanted.
int ChannelsFor(const ListenOptions& options, const CaptureDevice& device) {
  if (options.channel > device.channels) {
    throw Failure(ExitCode::kBadRate, Shown(device.name) + ": there is no channel " + std::to_string(options.channel) + " (it has " +
                                          std::to_string(device.channels) + ")");
  }
  return std::max(1, options.channel > 0 ? options.channel : std::min(device.channels, 2));
}

// Sound systems tell on standard error what they have tried; what fails has words of its own.
std::vector<CaptureDevice> DevicesOf(const CaptureModule& capture) {
  const ErrorToNowhere quiet;
  const auto look = [&capture] {
    try {
      capture.devices();
    } catch (const Failure&) {
      // It has words, which the next call will bring.
    }
  };
  if (!EndsWell(look)) {
    throw Failure(
        ExitCode::kNoFile,
        "the sound system cannot be reached: the library that looks for microphones gave up, as it does where ALSA is not set up");
  }
  return capture.devices();
}

std::unique_ptr<Capture> Opened(const CaptureModule& capture, const CaptureDevice& device, const ListenOptions& options) {
  const int channels = ChannelsFor(options, device);
  const ErrorToNowhere quiet;
  return capture.open(device, options.rate_hz, channels);
}

}  // namespace

ExitCode RunListen(const ListenOptions& options, const CaptureModule& capture) {
  RememberInterrupts();
  StreamSettings(options.engine.plain);  // before any device is opened
  const OutputRules rules(options.force, FilesBesideRecordings(options.engine, ""));
  CheckOutput(options.output, rules);
  const std::vector<CaptureDevice> devices = DevicesOf(capture);
  const CaptureDevice& device = ChooseDevice(devices, options.device);
  const std::unique_ptr<Capture> running = Opened(capture, device, options);
  if (!options.quiet) SayNote("listening to " + Shown(device.name) + ", " + std::to_string(running->rate_hz()) + " Hz; Ctrl-C ends it");
  Output output(options.output, rules);
  Listening(options, *running, Shown(device.name), output).Run();
  return ExitCode::kSuccess;
}

ExitCode RunDevices(const DevicesOptions& options, const CaptureModule& capture) {
  const std::vector<CaptureDevice> devices = DevicesOf(capture);
  const CaptureDevice& usual = ChooseDevice(devices, "");
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  std::string text = "  number  channels      Hz  name\n";
  for (const CaptureDevice& device : devices) {
    const bool is_usual = &device == &usual;
    char row[64];
    std::snprintf(row, sizeof row, "%c %6d  %8d  %6d  ", is_usual ? '*' : ' ', device.number, device.channels, device.rate_hz);
    text += row + Shown(device.name) + " (" + Shown(device.system) + ")\n";
    list.push_back({{"number", device.number},
                    {"name", device.name},
                    {"system", device.system},
                    {"channels", device.channels},
                    {"rate", device.rate_hz},
                    {"default", is_usual}});
  }
  Output output("", OutputRules(false, {}));
  output.Write(options.json ? JsonText({{"devices", list}}) + "\n" : text);
  output.Close();
  return ExitCode::kSuccess;
}

}  // namespace TSEG::tool
