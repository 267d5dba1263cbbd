// SPDX-License-Identifier: Apache-2.0
//
// The table of network kinds, row by row, and every combination of networks and parameters that may ask for them.
#include "scoring/network_kinds.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "scoring/scorer_rig.h"

namespace TSEG {
namespace {

TEST(NetworkKinds, RowsSayWhatEachKindReads) {
  struct Row {
    NetworkKindIndex index;
    const char* type;
    const char* loop;
    bool lstm;
    int32_t width, block_floats, block_frames;
  };
  const Row rows[] = {
      {kKindDnn75, "dnn_fb75", "wReadProcessDnnFea", false, 75, 11 * 75, 1},
      {kKindLstm75, "lstm_fb75", "wReadProcessLstmFea", true, 75, 4 * 75, 4},
      {kKindLstm40, "lstm_fb40", "wReadProcessLstmFea40", true, 40, 4 * 40, 4},
  };
  ASSERT_EQ(std::size(rows), static_cast<size_t>(kNetworkKinds));
  for (const Row& row : rows) {
    const NetworkKind& kind = NetworkKindAt(row.index);
    EXPECT_STREQ(kind.model_type, row.type);
    EXPECT_STREQ(kind.loop, row.loop);
    EXPECT_EQ(kind.lstm, row.lstm) << row.type;
    EXPECT_EQ(kind.feature_dim, row.width) << row.type;
    EXPECT_EQ(kind.block_floats, row.block_floats) << row.type;
    EXPECT_EQ(kind.block_frames, row.block_frames) << row.type;
  }
}

TEST(NetworkKinds, BlocksOfARowLieItsFramesApart) {
  for (size_t k = 0; k < kNetworkKinds; ++k) {
    const NetworkKind& kind = NetworkKindAt(k);
    FrontEndChannel channel;
    testing_support::AddFrames(&channel, kind.feature_dim == 40, 8);
    BlockEnd end;
    std::vector<float> first_values;
    // The block's first frame; with eleven frames around a centre the sixth, which is the centre.
    const int32_t centre = kind.block_frames == 1 ? 5 * kind.feature_dim : 0;
    while (const float* block = kind.pop(&channel, true, &end)) first_values.push_back(block[centre]);
    std::vector<float> expected;
    for (int32_t f = 0; f < 8; f += kind.block_frames) expected.push_back(testing_support::FrameValue(f, 0));
    EXPECT_EQ(first_values, expected) << kind.model_type;
    EXPECT_EQ(end.eof, 1);
    EXPECT_EQ(end.padded, 0);
  }
}

TEST(NetworkKinds, LastBlockOfARecurrentKindSaysWhatItIsShortOf) {
  for (const NetworkKindIndex k : {kKindLstm75, kKindLstm40}) {
    FrontEndChannel channel;
    testing_support::AddFrames(&channel, k == kKindLstm40, 5);
    BlockEnd end;
    ASSERT_NE(NetworkKindAt(k).pop(&channel, true, &end), nullptr);
    EXPECT_EQ(end.eof, 0);
    ASSERT_NE(NetworkKindAt(k).pop(&channel, true, &end), nullptr);
    EXPECT_EQ(end.eof, 1);
    EXPECT_EQ(end.padded, 3);
  }
}

TEST(NetworkKinds, ScorerOfARowIsRecurrentAsTheRowSays) {
  DnnForward dnn;
  LstmForward lstm;
  for (size_t k = 0; k < kNetworkKinds; ++k) {
    const NetworkKind& kind = NetworkKindAt(k);
    const auto scorer = kind.make_scorer(kind.lstm ? nullptr : &dnn, kind.lstm ? &lstm : nullptr, nullptr);
    EXPECT_EQ(scorer->recurrent(), kind.lstm) << kind.model_type;
    EXPECT_FALSE(scorer->bound()) << kind.model_type;
  }
}

TEST(NetworkKinds, NameIsFoundExactlyOrNotAtAll) {
  for (size_t k = 0; k < kNetworkKinds; ++k) EXPECT_EQ(FindNetworkKind(NetworkKindAt(k).model_type), &NetworkKindAt(k));
  for (const char* name : {"", "dnn", "dnn_fb7", "dnn_fb755", " dnn_fb75", "dnn_fb75 ", "DNN_FB75", "lstm_fb76", "lstm_fb40\n"}) {
    EXPECT_EQ(FindNetworkKind(name), nullptr) << name;
  }
  EXPECT_EQ(FindNetworkKind(std::string_view("dnn_fb75\0", 9)), nullptr);
}

// What a model may hold.
struct Held {
  const char* what;
  bool dnn;
  bool lstm;
  LstmForm form;
  int32_t width;
};
constexpr Held kHeld[] = {
    {"nothing", false, false, LstmForm::kFloat, 0},          {"dnn of 75", true, false, LstmForm::kFloat, 75},
    {"dnn of 40", true, false, LstmForm::kFloat, 40},        {"fixed lstm of 75", false, true, LstmForm::kFixed, 75},
    {"fixed lstm of 40", false, true, LstmForm::kFixed, 40}, {"float lstm of 40", false, true, LstmForm::kFloat, 40},
    {"float lstm of 75", false, true, LstmForm::kFloat, 75}, {"int8 lstm of 40", false, true, LstmForm::kInt8, 40},
    {"int8 lstm of 75", false, true, LstmForm::kInt8, 75},
};

class HeldModels {
 public:
  explicit HeldModels(const Held& held) {
    dnn_.nFeatureDim = lstm_.nFeatureDim = held.width;
    lstm_.form = held.form;
    models = {held.dnn ? &dnn_ : nullptr, held.lstm ? &lstm_ : nullptr};
  }
  NetworkModels models;

 private:
  DnnModel dnn_;
  LstmModel lstm_;
};

TEST(KindOfModels, GoesBySortAndForm) {
  const char* const expected[] = {nullptr,     "dnn_fb75",  "dnn_fb75",  "lstm_fb75", "lstm_fb75",
                                  "lstm_fb40", "lstm_fb40", "lstm_fb40", "lstm_fb40"};
  ASSERT_EQ(std::size(expected), std::size(kHeld));
  for (size_t i = 0; i < std::size(kHeld); ++i) {
    const HeldModels held(kHeld[i]);
    const NetworkKind* kind = KindOfModels(held.models);
    if (expected[i] == nullptr) {
      EXPECT_EQ(kind, nullptr) << kHeld[i].what;
    } else {
      ASSERT_NE(kind, nullptr) << kHeld[i].what;
      EXPECT_STREQ(kind->model_type, expected[i]) << kHeld[i].what;
    }
  }
}

TEST(ModelsServe, EveryNetworkUnderEveryPairOfParameters) {
  // A column for each model type, y where the network serves it; a type of no kind asks for a network of the right sort alone.
  const char* const types[] = {"dnn_fb75", "lstm_fb75", "lstm_fb40", "dnn_fb76"};
  struct Row {
    const char* as_dnn;   // with wvad_param_isTsegLstm off
    const char* as_lstm;  // with it on
  };
  const Row rows[] = {
      {"nnnn", "nnnn"},  // nothing
      {"ynny", "nnnn"},  // dnn of 75
      {"nnny", "nnnn"},  // dnn of 40
      {"nnnn", "nyny"},  // fixed lstm of 75
      {"nnnn", "nnny"},  // fixed lstm of 40
      {"nnnn", "nnyy"},  // float lstm of 40
      {"nnnn", "nnny"},  // float lstm of 75
      {"nnnn", "nnyy"},  // int8 lstm of 40
      {"nnnn", "nnny"},  // int8 lstm of 75
  };
  ASSERT_EQ(std::size(rows), std::size(kHeld));
  for (size_t i = 0; i < std::size(rows); ++i) {
    const HeldModels held(kHeld[i]);
    for (size_t t = 0; t < std::size(types); ++t) {
      EXPECT_EQ(ModelsServe(held.models, false, types[t]), rows[i].as_dnn[t] == 'y') << kHeld[i].what << " as dnn " << types[t];
      EXPECT_EQ(ModelsServe(held.models, true, types[t]), rows[i].as_lstm[t] == 'y') << kHeld[i].what << " as lstm " << types[t];
    }
  }
}

}  // namespace
}  // namespace TSEG
