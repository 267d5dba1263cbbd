// SPDX-License-Identifier: Apache-2.0
//
// Model files that are short, huge or do not fit together: each is refused with 30002 and a line that names what was wrong. Run under the
// address sanitizer this is also the proof that nothing is read where nothing is.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>

#include "res/model_format.h"
#include "res/test_models.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using modelfile::Bytes;
using modelfile::ModelContents;
using testing_support::Drop;
using testing_support::Loaded;
using testing_support::LogCapture;
using testing_support::SmallDnn;
using testing_support::SmallLstm40;
using testing_support::SmallLstm75;

constexpr size_t kHeader = 384;
// Tables of the header with shifts.
constexpr size_t kInner = kHeader + 84;
constexpr size_t kOuter = kHeader + 596;
constexpr size_t kNames = kHeader + 1108;
constexpr size_t kTypes = kHeader + 9300;
constexpr size_t kKeys = kHeader + 12372;

template <typename T>
void Poke(Bytes* file, size_t offset, T value) {
  std::memcpy(file->data() + offset, &value, sizeof value);
}

// A copy of exactly `n` bytes on the heap, so that the sanitizer sees its end.
int LoadExactly(const Bytes& file, size_t n) {
  const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(n));
  Bytes exact(cut);
  exact.shrink_to_fit();
  return Loaded(exact).ret;
}

void EveryPrefixIsRefused(const Bytes& file) {
  std::set<size_t> lengths;
  for (size_t n = 0; n < 512; ++n) lengths.insert(n);
  for (const size_t edge : {kHeader + 16, kHeader + 48, kHeader + sizeof(MlpResImageV1), kHeader + sizeof(MlpResImageV2),
                            kHeader + sizeof(MlpResImageV3), file.size()}) {
    for (size_t n = edge - 3; n <= edge + 3; ++n) lengths.insert(n);
  }
  for (size_t n = 0; n < file.size(); n += 997) lengths.insert(n);
  for (const size_t n : lengths) {
    if (n >= file.size()) continue;
    ASSERT_EQ(LoadExactly(file, n), 30002) << n;
  }
  EXPECT_EQ(LoadExactly(file, file.size()), 0);
}

TEST(DamagedModel, EveryPrefixOfADnnIsRefused) { EveryPrefixIsRefused(modelfile::WriteModel(SmallDnn())); }
TEST(DamagedModel, EveryPrefixOfAnLstm40IsRefused) {
  const testing_support::CpuGuard cpu(true);
  EveryPrefixIsRefused(modelfile::WriteModel(SmallLstm40()));
}
TEST(DamagedModel, EveryPrefixOfAnLstm40InFloatFormIsRefused) {
  const testing_support::CpuGuard cpu(false);
  EveryPrefixIsRefused(modelfile::WriteModel(SmallLstm40()));
}
TEST(DamagedModel, EveryPrefixOfAnLstm75IsRefused) { EveryPrefixIsRefused(modelfile::WriteModel(SmallLstm75())); }

struct Damage {
  const char* name;
  std::function<void(Bytes*)> apply;
  const char* line;
};

TEST(DamagedModel, EachDamageIsNamed) {
  const Damage kRows[] = {
      {"negative count of variables", [](Bytes* f) { Poke<int32_t>(f, kHeader + 48, -1); }, "the number of variables is -1"},
      {"too many variables", [](Bytes* f) { Poke<int32_t>(f, kHeader + 48, 129); }, "the number of variables is 129"},
      {"huge count of variables", [](Bytes* f) { Poke<int32_t>(f, kHeader + 48, 0x7FFFFFFF); }, "the number of variables is 2147483647"},
      {"empty slots counted", [](Bytes* f) { Poke<int32_t>(f, kHeader + 48, 128); }, "variable  has the shape 0 x 0"},
      {"negative dimension", [](Bytes* f) { Poke<int32_t>(f, kInner + 4 * 3, -825); }, "variable weights12 has the shape 40 x -825"},
      {"no rows", [](Bytes* f) { Poke<int32_t>(f, kOuter, 0); }, "variable mean has the shape 0 x 1"},
      {"huge dimensions",
       [](Bytes* f) {
         Poke<int32_t>(f, kInner + 4 * 3, 0x7FFFFFFF);
         Poke<int32_t>(f, kOuter + 4 * 3, 0x7FFFFFFF);
       },
       "variable weights12 reaches beyond the end of the file"},
      {"product that wraps to a small one",
       [](Bytes* f) {
         Poke<int32_t>(f, kInner, 0x10000);
         Poke<int32_t>(f, kOuter, 0x10000);
       },
       "variable mean reaches beyond the end of the file"},
      {"one row too many", [](Bytes* f) { Poke<int32_t>(f, kOuter + 4 * 6, 3); }, "variable bias3 reaches beyond the end of the file"},
      {"name without an end", [](Bytes* f) { std::memset(f->data() + kNames + 64 * 2, 'x', 64); },
       "the name is not terminated of variable 2"},
      {"type without an end", [](Bytes* f) { std::memcpy(f->data() + kTypes + 8, "floatfloat", 8); },
       "the data type is not terminated of variable 1"},
      {"unknown type", [](Bytes* f) { std::memcpy(f->data() + kTypes + 8, "half\0\0\0", 8); }, "variable var has an unknown data type"},
      {"header beyond the end",
       [](Bytes* f) {
         Poke<uint16_t>(f, 2, 65535);
         f->resize(60000);
       },
       "the header reaches beyond the end of the file"},
  };
  const Bytes sound = modelfile::WriteModel(SmallDnn());
  for (const Damage& row : kRows) {
    Bytes file = sound;
    row.apply(&file);
    LogCapture log;
    EXPECT_EQ(Loaded(file).ret, 30002) << row.name;
    EXPECT_EQ(log.Failures(std::string("ResLoader_ftr::load | model file refused, ") + row.line, "ret", 30002), 1) << row.name << "\n"
                                                                                                                   << log.Text();
  }
}

TEST(DamagedModel, AnUnknownTypeIsAlsoToldAsTheOffsetWould) {
  Bytes file = modelfile::WriteModel(SmallDnn());
  std::memcpy(file.data() + kHeader + 9300, "half\0\0\0", 8);
  LogCapture log;
  EXPECT_EQ(Loaded(file).ret, 30002);
  EXPECT_EQ(log.Failures("get_var_datatype: do not support type mean.", "NULL", 0), 1) << log.Text();
}

TEST(DamagedModel, AnUnknownTypeOfTheLastVariableHarmsNobody) {
  ModelContents contents = SmallDnn();
  contents.variables.push_back(testing_support::Vector("note", 4, 0));
  Bytes file = modelfile::WriteModel(contents);
  std::memcpy(file.data() + kTypes + 8 * 7, "words\0\0", 8);
  LogCapture log;
  EXPECT_EQ(Loaded(file).ret, 0) << log.Text();
  EXPECT_EQ(log.Count("do not support type"), 0) << log.Text();
  // With a variable behind it, which could not be found.
  std::memcpy(file.data() + kTypes + 8 * 6, "words\0\0", 8);
  EXPECT_EQ(Loaded(file).ret, 30002);
  // As a variable that the network asks for.
  file = modelfile::WriteModel(SmallDnn());
  std::memcpy(file.data() + kTypes + 8 * 6, "words\0\0", 8);
  EXPECT_EQ(Loaded(file).ret, 30002);
  EXPECT_EQ(log.Failures("ResLoader_ftr::load | model file refused, variable bias3 is not of type float", "ret", 30002), 1) << log.Text();
}

TEST(DamagedModel, TheTableOfKeysMayHoldAnything) {
  const Bytes sound = modelfile::WriteModel(SmallLstm75());
  for (const int32_t count : {-7, 0, 33, 0x7FFFFFFF}) {
    Bytes file = sound;
    Poke<int32_t>(&file, kKeys, count);
    EXPECT_EQ(Loaded(file).ret, 0) << count;
  }
  // All of it full of texts without an end.
  Bytes file = sound;
  std::memset(file.data() + kKeys + 4, 'k', 1024);
  Poke<int32_t>(&file, kKeys, 32);
  const Loaded loaded(file);
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.szModelKey[31][15], 'k');
  EXPECT_EQ(loaded.link.pLstm->bIsCtc, 0);
}

TEST(DamagedModel, EveryMissingVariableIsNamed) {
  for (const ModelContents& whole : {SmallDnn(), SmallLstm40(), SmallLstm75()}) {
    for (const auto& variable : whole.variables) {
      ModelContents contents = whole;
      Drop(&contents, variable.name);
      LogCapture log;
      const Loaded loaded(modelfile::WriteModel(contents));
      if (variable.name == "lstmp2_bias_") {
        EXPECT_EQ(loaded.ret, 0);  // a network of one layer, with variables that nobody asks for
        continue;
      }
      EXPECT_EQ(loaded.link.pDnn, nullptr);
      EXPECT_EQ(loaded.link.pLstm, nullptr);
      // Without its bias a layer is not counted, and the number of layers is what is wrong.
      if (variable.name == "bias2" || variable.name == "bias3") {
        EXPECT_EQ(loaded.ret, 30011) << variable.name;
        continue;
      }
      if (variable.name == "lstmp1_bias_" && contents.network_type == "MLP_RES_RNNCNNPAD28") {
        EXPECT_EQ(loaded.ret, 30002);
        EXPECT_EQ(log.Failures("ResLoader_ftr::load | model file refused, the number of recurrent layers is 0", "ret", 30002), 1);
        continue;
      }
      EXPECT_EQ(loaded.ret, 30002) << variable.name;
      EXPECT_EQ(log.Failures("register_value_typed: can't find  " + variable.name + " in resource", "NULL", 0), 1) << log.Text();
      EXPECT_EQ(log.Failures("ResLoader_ftr::load | model file refused, variable " + variable.name + " is missing", "ret", 30002), 1)
          << log.Text();
    }
  }
}

TEST(DamagedModel, AVariableOfAnotherTypeIsNotTakenForFloats) {
  ModelContents contents = SmallDnn();
  modelfile::FindVariable(contents, "var")->dtype = "double";
  LogCapture log;
  EXPECT_EQ(Loaded(modelfile::WriteModel(contents)).ret, 30002);
  EXPECT_EQ(log.Failures("ResLoader_ftr::load | model file refused, variable var is not of type float", "ret", 30002), 1) << log.Text();
}

TEST(DamagedModel, BytesByFormulaAtEachPlaceNeverCrashTheReader) {
  for (const Bytes& sound :
       {modelfile::WriteModel(SmallDnn()), modelfile::WriteModel(SmallLstm40()), modelfile::WriteModel(SmallLstm75())}) {
    uint32_t state = 1;
    for (int round = 0; round < 300; ++round) {
      Bytes file = sound;
      for (int k = 0; k < 4; ++k) {
        state = state * 1664525u + 1013904223u;
        // Everything in front of the data but the magic words, without which there is nothing to read.
        size_t at = 60 + (state >> 8) % (kHeader + 13400 - 60);
        if (at >= kHeader + 16 && at < kHeader + 48) at = 2;
        file[at] = static_cast<uint8_t>(state >> 24);
      }
      const int ret = Loaded(file).ret;
      ASSERT_TRUE(ret == 0 || ret == 30002 || ret == 30011) << "round " << round << " gives " << ret;
    }
  }
}

}  // namespace
}  // namespace TSEG
