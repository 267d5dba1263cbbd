// SPDX-License-Identifier: Apache-2.0
#include "wvad/audio_options.h"

#include "wvad/option_values.h"
#include "wvad/raw_source.h"
#include "wvad/resampler.h"

namespace TSEG::tool {
namespace {

// Which recordings there are.
void AddFileList(CLI::App* command, FileListOptions& list) {
  command->add_flag("-r,--recursive", list.recursive, "Walk through the folders below a folder too");
  // Several may be given, each with its own option: a bare name behind is a FILE.
  const auto several = [](CLI::Option* option) { option->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll); };
  several(command->add_option("--include", list.include, "Of what lies in folders, take only files like this; may be repeated")
              ->type_name("PATTERN"));
  several(command->add_option("--exclude", list.exclude, "Of what lies in folders, leave out files and folders like this; may be repeated")
              ->type_name("PATTERN"));
  command->add_option("--files-from", list.list, "Take names from this file too, one a line; - is standard input")->type_name("LIST");
  command->add_flag("-0,--null", list.zero_ends, "Names in that list end with a zero byte");
}

}  // namespace

void AddAudio(CLI::App* command, InputOptions& input, const AudioScope& scope) {
  const std::string kinds = "(WAV, FLAC, Ogg, MP3, M4A, WebM, ...)";
  const std::string standard_input = "; - is standard input, raw 16-bit samples where no container is recognised";
  const std::string words = scope.several ? "Audio files " + kinds + " and films" + standard_input + "; the files of a folder"
                                          : "An audio file " + kinds + " or a film" + standard_input;
  CLI::Option* files = command->add_option("FILE", input.list.names, words)->type_name("");
  if (scope.several) {
    AddFileList(command, input.list);
  } else {
    files->expected(0, 1);
  }
  command
      ->add_option("--channel", input.channel,
                   std::string("Channel to listen to, counted from 1; mix for the mean of all") +
                       (scope.channels_apart ? "; all for each by itself" : ""))
      ->capture_default_str()
      ->type_name(scope.channels_apart ? "N|mix|all" : "N|mix");
  AddWhole(command, "--track", input.source.track, "Sound track to listen to, counted from 1, instead of the file's default", 1, 1000);
  command->add_flag("--allow-network", input.source.allow_network, "Open addresses, given as FILE or found in a playlist");
  command
      ->add_option("--gain", input.gain,
                   "Amplify before the engine hears it, in dB; auto measures the file first. The engine takes what lies under about "
                   "-64 dB of full scale for silence")
      ->capture_default_str()
      ->type_name("DB|auto");
  AddWhole(command, "--chunk-ms", input.chunk_ms, "Length of the pieces that the engine is fed with, in ms", 1, 10000);
  AddChoice(command, "--raw", input.source.raw.form, "The input is samples without a container. ", RawForms());
  const auto described = [&input](const std::string&) { input.source.raw.described = true; };
  AddWhole(command, "--rate", input.source.raw.rate_hz, "Sample rate of raw samples in Hz", kLowestRate, kHighestRate)->each(described);
  AddWhole(command, "--channels", input.source.raw.channels, "Channels of raw samples", 1, 64)->each(described);
}

}  // namespace TSEG::tool
