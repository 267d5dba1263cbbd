// SPDX-License-Identifier: Apache-2.0
//
// What `--help` says below the options of each command.
#ifndef WVAD_WVAD_HELP_TEXT_H_
#define WVAD_WVAD_HELP_TEXT_H_

#include <string>

#include "wvad/exit_codes.h"

namespace TSEG::tool {

// The table of exit codes as the help shows it.
inline std::string ExitCodesHelp() {
  std::string text = "Exit codes:\n";
  for (const ExitCodeRow& row : kExitCodes) {
    const std::string number = std::to_string(static_cast<int>(row.code));
    text += std::string(3 - number.size(), ' ') + number + "  " + row.meaning + "\n";
  }
  return text + "With several files the others are still worked on; the code is that of the first failure.";
}

constexpr const char* kSegmentHelp =
    R"(Times are seconds from the start of the recording. "vol" is the engine's measure of a sentence's energy: the
squared distance of its mean log energy from 14.5 (smaller is quieter); "trig" is true when it lies under the
engine's threshold; "eg" is the level, 20 log10 of the root mean square of the 16-bit samples.

Environment: WVAD_MODELS_DIR, a folder of models; TMPDIR, for a private folder during start-up.

Examples:
  wvad segment meeting.mp3
  wvad segment --format json *.wav > sentences.json
  wvad segment -r -j 4 -f csv -o all.csv recordings/           a folder and those below it, four files at once
  wvad segment --format rttm,srt,textgrid -o results *.wav     a file for each recording and form
  wvad segment --printf '{file} {begin:3} {end:3}\n' *.wav
  wvad segment --set wvad_param_nFrameGap=80 lecture.flac      join sentences over pauses of up to 0.8 s
  arecord -f S16_LE -r 16000 -c 1 -t raw | wvad segment -      sentences as they are spoken

)";

constexpr const char* kListenHelp =
    R"(A sentence is told when it has ended; --profile and --min-silence say how soon that is. Times are seconds since listening
began, the level is in dB of full scale, SNR in dB over the noise of the last seconds. Ctrl-C ends it, with the sentence
that goes on.

Examples:
  wvad listen
  wvad listen --device headset --profile dictation
  wvad listen -f jsonl | ./react                      every event as it is known

)";

constexpr const char* kSplitHelp =
    R"(For talk.mp3 this writes talk-0001.wav, talk-0002.wav ... and talk-split.json, an index with the place of each
sentence in the recording. The files hold what the engine hands out: 16 bit, one channel, at the engine's rate
(16000 Hz, 8000 Hz for recordings of that rate), with its margins of 0.30 s before and 0.20 s behind the speech. Each
file appears when its sentence has ended. Nothing is replaced without --force.

Examples:
  wvad split talk.mp3 -d sentences
  wvad split --audio flac -d out *.wav
  wvad split --set wvad_param_nFrameStartMargin=10 --set wvad_param_nFrameEndMargin=10 -d tight talk.wav
  arecord -f S16_LE -r 16000 -c 1 -t raw | wvad split - --prefix dictation -d today

)";

constexpr const char* kTrimHelp =
    R"(The sentences stay, with their margins of 0.30 s before and 0.20 s behind the speech, in the recording's own rate,
channels and sample depth, as far as the kind of file holds them. The map has a row for each stretch that stays: where it
lay in the recording and where it has come to stand, in frames (samples of one channel) and seconds. A recording that
can be read only once, such as standard input, is kept in a temporary file meanwhile.

Examples:
  wvad trim lecture.mp3 -o short.mp3
  wvad trim talk.wav -o talk.flac --keep 0.5 --map talk.csv
  wvad trim --pad-before 0.1 --pad-after 0.1 talk.wav -o tight.wav

)";

constexpr const char* kMuteHelp =
    R"(The recording keeps its length: the sentences stay as they are, with their margins of 0.30 s before and 0.20 s behind
the speech, and all between them is silence.

Examples:
  wvad mute interview.wav -o clean.wav
  wvad mute --profile meeting --fade 20 meeting.flac -o quiet.flac

)";

constexpr const char* kFeaturesHelp =
    R"(For talk.mp3 this writes talk-0001.npy, talk-0002.npy ..., one array for each sentence, and talk-features.json, an
index with the place of each sentence. An array has a row for each 10 ms and 115 columns of 32-bit floats:
0-23 filter bank, 24-47 and 48-71 its first and second differences, 72 and 73 those of the pitch, 74 the pitch's aux
value, 75-114 a filter bank of 40; with a model of the kind lstm_fb40 columns 0-74 are 0. Nothing is replaced without
--force.

Examples:
  wvad features talk.mp3 -d features
  wvad features --set wvad_param_isReadFtrDoCMN=1 -d features *.flac       with the running mean taken off
  python3 -c 'import numpy; print(numpy.load("features/talk-0001.npy").shape)'

)";

constexpr const char* kQualityHelp =
    R"("snr" is the distance in dB between the loud and the quiet parts of the audio (80th less 15th percentile of power in
windows of 30 ms, less 2.5); it is bad under 4.5. "cur" is the share of windows with a clipped sample; it is bad from
0.08. Both are measured over what one session of the engine heard, which is the whole recording unless it holds four
minutes without a sentence. "vol" and "eg" are explained under wvad segment.

Examples:
  wvad quality talk.mp3
  wvad quality --format json *.wav > quality.json
  wvad quality --set wkel_param_snr_threshold=10 talk.wav

)";

constexpr const char* kScoresHelp =
    R"(One row for each whole 10 ms of audio, the first at 0.00 s: the probability that somebody speaks, as the network
gives it, before any decision. A row is held, and says so, where the network has none of its own for it (the last 40 to
120 ms, and values that are not a number): it then repeats the one before.
  text  time and probability, "held" behind them where it applies
  csv   file,time,speech,held
  npy   an array of 32-bit floats with two columns: probability, and 1 where it is held

Examples:
  wvad scores talk.mp3
  wvad scores --format csv *.wav > scores.csv
  wvad scores --model lstm_fb75 --format npy -d scores *.flac             scores/talk-scores.npy and so on

)";

constexpr const char* kExplainHelp =
    R"(For each stretch of the place in which the same holds: whether its frames of 10 ms count as speech, what the
network gave against its threshold, the energy against the energy floor, what held them to silence, what the endpoint
detector was waiting for, and the sentence that they belong to. Parameters stand beside what rests on them, by the
names that --set takes.

Examples:
  wvad explain talk.mp3 --at 12.3
  wvad explain talk.mp3 --at 1:02:03.5 --at 12-12.8
  wvad explain --json --at 0-5 --set wvad_param_vad_threshold=0.5 talk.mp3

)";

constexpr const char* kReportHelp =
    R"(The page opens in any current browser, without a network: waveform and spectrogram, the probability of speech with
its threshold, the energy with the energy floor, the sentences (a click plays one), level and signal-to-noise of each,
and under the pointer what was decided there and why. Models and sets of parameters stand one under the other. Press ?
in the page for its keys.

Examples:
  wvad report talk.mp3 -o talk.html
  wvad report talk.mp3 -o talk.html -m lstm_fb75 -m dnn_fb75
  wvad report talk.mp3 -o talk.html --compare wvad_param_vad_threshold=0.5 --compare dnn_fb75,wvad_param_nFrameGap=80
  wvad report lecture.flac -o lecture.html --link-audio

)";

constexpr const char* kCompareHelp =
    R"(Recordings are matched by name (without folder and ending); where REF and HYP tell of one recording each, these are
the same. Times are summed over all recordings. docs/cli.md defines each measure.

Examples:
  wvad compare truth.rttm found.rttm --uem scored.uem --collar 0.25
  wvad compare truth/ found/ --format json
  wvad segment -f rttm talk.wav | wvad compare talk.TextGrid - --hyp-format rttm

)";

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_HELP_TEXT_H_
