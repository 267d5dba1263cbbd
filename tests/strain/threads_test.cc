// SPDX-License-Identifier: Apache-2.0
//
// Instances at once on one model: eight of them on four threads give what they give in turn. Run under the thread sanitizer this is also
// the proof that nothing but what has a lock is shared.
#include <atomic>
#include <chrono>
#include <thread>

#include "strain/strain_support.h"

namespace TSEG::testing_support {
namespace {

constexpr size_t kInstances = 8;
constexpr size_t kThreads = 4;

// An own part of the audio, an own piece length and own parameters for each.
struct Job {
  std::vector<int16_t> pcm;
  size_t samples;
  std::vector<std::pair<std::string, std::string>> parameters;
};

std::vector<Job> Jobs() {
  std::vector<Job> jobs(kInstances);
  const size_t length = SessionAudio().size() * (kSanitized ? 2 : 3) / 4;
  for (size_t i = 0; i < kInstances; ++i) {
    const size_t from = i * 2400;
    jobs[i].pcm.assign(SessionAudio().begin() + static_cast<std::ptrdiff_t>(from),
                       SessionAudio().begin() + static_cast<std::ptrdiff_t>(from + length));
    jobs[i].samples = 160 + 333 * i;
    jobs[i].parameters = {{"wvad_param_nReadType", i % 2 == 0 ? "0" : "1"}, {"VAD_PARAM_SID", "session" + std::to_string(i)}};
    if (i % 3 == 2) jobs[i].parameters.emplace_back("wvad_param_isPostProcessWinSlideOn", "1");
    if (i % 4 == 3) jobs[i].parameters.emplace_back("wvad_param_isReadFtrDoCMN", "1");
  }
  return jobs;
}

std::vector<Outcome> RunAtOnce(const std::vector<Job>& jobs, const std::vector<std::pair<std::string, std::string>>& extra = {}) {
  std::vector<Outcome> outcomes(jobs.size());
  std::atomic<size_t> next{0};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (size_t i = next++; i < jobs.size(); i = next++) {
        auto parameters = jobs[i].parameters;
        parameters.insert(parameters.end(), extra.begin(), extra.end());
        outcomes[i] = RunSession(jobs[i].pcm, jobs[i].samples, parameters);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return outcomes;
}

std::vector<Outcome> RunInTurn(const std::vector<Job>& jobs, const std::vector<std::pair<std::string, std::string>>& extra = {}) {
  std::vector<Outcome> outcomes;
  for (const Job& job : jobs) {
    auto parameters = job.parameters;
    parameters.insert(parameters.end(), extra.begin(), extra.end());
    outcomes.push_back(RunSession(job.pcm, job.samples, parameters));
  }
  return outcomes;
}

class ThreadsTest : public StrainTest {};

TEST_F(ThreadsTest, EightInstancesOnFourThreadsEqualInstancesInTurn) {
  const std::vector<Job> jobs = Jobs();
  for (const char* model : kModels) {
    UpQuiet(model);
    const std::vector<Outcome> in_turn = RunInTurn(jobs);
    const std::vector<Outcome> at_once = RunAtOnce(jobs);
    size_t sentences = 0;
    for (size_t i = 0; i < jobs.size(); ++i) {
      EXPECT_TRUE(AllZero(in_turn[i].codes)) << model;
      EXPECT_TRUE(at_once[i] == in_turn[i]) << model << " instance " << i;
      sentences += in_turn[i].endpoints.size() / 2;
    }
    EXPECT_GE(sentences, jobs.size()) << model << ": audio without sentences proves little";
  }
}

TEST_F(ThreadsTest, AnInstanceMayMoveFromThreadToThread) {
  for (const char* model : kModels) {
    UpQuiet(model);
    const Outcome expected = RunSession(SessionAudio(), 4000);
    // Four instances and four threads; each instance's pieces are written by another thread each time, one piece after the other.
    std::vector<WVADInst> instances(4, nullptr);
    std::vector<Outcome> outcomes(4);
    for (WVADInst& inst : instances) {
      ASSERT_EQ(wVadCreateInst(&inst), 0);
      ASSERT_EQ(wVadStart(inst), 0);
    }
    const std::vector<int16_t>& pcm = SessionAudio();
    for (size_t at = 0, round = 0; at < pcm.size(); at += 4000, ++round) {
      std::vector<std::thread> threads;
      for (size_t t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
          const size_t k = (t + round) % 4;
          const size_t n = std::min<size_t>(4000, pcm.size() - at);
          WVadAudioSample piece = {};
          piece.pData = const_cast<int16_t*>(pcm.data() + at);
          piece.len = static_cast<uint32_t>(n * 2);
          piece.status = at + n == pcm.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE;
          outcomes[k].codes.push_back(wVadAudioWrite(instances[k], &piece));
          ReadAll(instances[k], &outcomes[k]);
          Collect(instances[k], &outcomes[k]);
        });
      }
      for (std::thread& thread : threads) thread.join();
    }
    for (size_t k = 0; k < 4; ++k) {
      EXPECT_TRUE(AllZero(outcomes[k].codes));
      EXPECT_EQ(outcomes[k].read, expected.read) << model;
      EXPECT_EQ(outcomes[k].results, expected.results) << model;
      EXPECT_EQ(outcomes[k].statuses, expected.statuses) << model;
      EXPECT_EQ(wVadDestroyInst(instances[k]), 0);
    }
  }
}

TEST_F(ThreadsTest, EverythingThatIsSharedAtOnce) {
  // All log levels into one file that rotates, the debug text of all sessions into one file, watches, audio quality: what instances share.
  const std::vector<Job> jobs = Jobs();
  PutLogger(folder_, "file=" + folder_.file("log/own.log") + "\nlevel=all\nmaxsize=65536\nmaxcount=3\nflush=1\n");
  Up("models/lstm40.bin", "wvad_param_bKelOn = 1");
  const std::vector<std::pair<std::string, std::string>> extra = {{"wvad_param_isVadDegOn", "1"},
                                                                  {"wvad_param_debug_log_filename", "debug.txt"}};
  const std::vector<Outcome> in_turn = RunInTurn(jobs, extra);
  const std::vector<Outcome> at_once = RunAtOnce(jobs, extra);
  for (size_t i = 0; i < jobs.size(); ++i) {
    EXPECT_TRUE(AllZero(in_turn[i].codes));
    EXPECT_TRUE(at_once[i] == in_turn[i]) << "instance " << i;
  }
  wVadUninitialize();
  // The debug text of each session is there, once for each of the two rounds, and whole.
  const std::string text = folder_.read("debug.txt");
  for (size_t i = 0; i < jobs.size(); ++i) {
    const std::string begin = "session" + std::to_string(i) + "|VAD:";
    size_t count = 0;
    std::vector<std::string> lines;
    for (size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1), ++count) {
      lines.push_back(text.substr(at, text.find('\n', at) - at));
    }
    ASSERT_EQ(count, 2u) << begin;
    EXPECT_EQ(lines[0], lines[1]);
  }
}

TEST_F(ThreadsTest, InstancesAreMadeAndDestroyedWhileOthersRun) {
  UpQuiet("models/lstm75.bin");
  const Outcome expected = RunSession(SessionAudio(), 1600);
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> makers;
  for (int t = 0; t < 2; ++t) {
    makers.emplace_back([&] {
      while (!done) {
        WVADInst inst = nullptr;
        if (wVadCreateInst(&inst) != 0 || wVadSetParameter(inst, "wvad_param_nFrameGap", "30") != 0 || wVadStart(inst) != 0) ++failures;
        if (wVadDestroyInst(inst) != 0) ++failures;
        std::this_thread::yield();
      }
    });
  }
  Outcome a, b;
  std::thread first([&] { a = RunSession(SessionAudio(), 1600); });
  b = RunSession(SessionAudio(), 1600);
  first.join();
  done = true;
  for (std::thread& maker : makers) maker.join();
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(a == expected);
  EXPECT_TRUE(b == expected);
}

}  // namespace
}  // namespace TSEG::testing_support
