// SPDX-License-Identifier: Apache-2.0
#include "scoring/network.h"

#include <gtest/gtest.h>

namespace TSEG {
namespace {

class NetworkTest : public ::testing::Test {
 protected:
  NetworkTest() {
    fixed_.form = LstmForm::kFixed;
    float_.form = LstmForm::kFloat;
    int8_.form = LstmForm::kInt8;
  }
  DnnModel dnn_;
  LstmModel fixed_, float_, int8_;
};

TEST_F(NetworkTest, HoldsTheForwardObjectAndTheScorersOfItsSort) {
  const Network feed_forward(false);
  EXPECT_NE(feed_forward.pDnn, nullptr);
  EXPECT_EQ(feed_forward.pLstm, nullptr);
  EXPECT_NE(feed_forward.ScorerOf(kKindDnn75), nullptr);
  EXPECT_EQ(feed_forward.ScorerOf(kKindLstm75), nullptr);
  EXPECT_EQ(feed_forward.ScorerOf(kKindLstm40), nullptr);
  const Network recurrent(true);
  EXPECT_EQ(recurrent.pDnn, nullptr);
  EXPECT_NE(recurrent.pLstm, nullptr);
  EXPECT_EQ(recurrent.ScorerOf(kKindDnn75), nullptr);
  EXPECT_NE(recurrent.ScorerOf(kKindLstm75), nullptr);
  EXPECT_NE(recurrent.ScorerOf(kKindLstm40), nullptr);
  EXPECT_NE(recurrent.ScorerOf(kKindLstm75), recurrent.ScorerOf(kKindLstm40));
}

TEST_F(NetworkTest, HasNoScorerBeforeItsFirstStart) {
  for (const bool lstm : {false, true}) {
    const Network network(lstm);
    EXPECT_EQ(network.scorer(), nullptr);
    EXPECT_EQ(network.kind(), nullptr);
  }
}

TEST_F(NetworkTest, StartChoosesByModelTypeAndFormOfTheModel) {
  struct Row {
    const char* what;
    NetworkModels models;
    const char* type;
    int kind;  // a NetworkKindIndex, or -1 for none
  };
  const Row rows[] = {
      {"dnn", {&dnn_, nullptr}, "dnn_fb75", kKindDnn75},
      {"dnn", {&dnn_, nullptr}, "lstm_fb75", -1},
      {"dnn", {&dnn_, nullptr}, "dnn_fb76", -1},
      {"dnn", {&dnn_, nullptr}, "", -1},
      {"nothing", {}, "dnn_fb75", -1},
      {"fixed", {nullptr, &fixed_}, "lstm_fb75", kKindLstm75},
      {"fixed", {nullptr, &fixed_}, "lstm_fb40", -1},
      {"fixed", {nullptr, &fixed_}, "dnn_fb75", -1},
      {"float", {nullptr, &float_}, "lstm_fb40", kKindLstm40},
      {"float", {nullptr, &float_}, "lstm_fb75", -1},
      {"int8", {nullptr, &int8_}, "lstm_fb40", kKindLstm40},
      {"int8", {nullptr, &int8_}, "lstm_fb75", -1},
      {"nothing", {}, "lstm_fb40", -1},
  };
  for (const Row& row : rows) {
    Network network(row.models.lstm != nullptr);
    network.Start(row.models, row.type, 0);
    if (row.kind < 0) {
      EXPECT_EQ(network.scorer(), nullptr) << row.what << " as " << row.type;
      EXPECT_EQ(network.kind(), nullptr) << row.what << " as " << row.type;
    } else {
      const auto index = static_cast<NetworkKindIndex>(row.kind);
      EXPECT_EQ(network.scorer(), network.ScorerOf(index)) << row.what << " as " << row.type;
      EXPECT_EQ(network.kind(), &NetworkKindAt(index)) << row.what << " as " << row.type;
      EXPECT_TRUE(network.scorer()->bound()) << row.what << " as " << row.type;
    }
  }
}

TEST_F(NetworkTest, ModelOfTheOtherSortIsNotTaken) {
  Network feed_forward(false);
  feed_forward.Start({nullptr, &fixed_}, "lstm_fb75", 0);
  EXPECT_EQ(feed_forward.scorer(), nullptr);
  EXPECT_EQ(feed_forward.pDnn->pModel, nullptr);
  Network recurrent(true);
  recurrent.Start({&dnn_, nullptr}, "dnn_fb75", 0);
  EXPECT_EQ(recurrent.scorer(), nullptr);
  EXPECT_EQ(recurrent.pLstm->pModel, nullptr);
}

TEST_F(NetworkTest, EveryStartChoosesAnew) {
  Network network(true);
  network.Start({nullptr, &fixed_}, "lstm_fb75", 0);
  EXPECT_EQ(network.scorer(), network.ScorerOf(kKindLstm75));
  network.Start({nullptr, &float_}, "lstm_fb40", 0);
  EXPECT_EQ(network.scorer(), network.ScorerOf(kKindLstm40));
  EXPECT_EQ(network.pLstm->pModel, &float_);
  network.Start({nullptr, &float_}, "lstm_fb75", 0);
  EXPECT_EQ(network.scorer(), nullptr);
  EXPECT_EQ(network.kind(), nullptr);
}

}  // namespace
}  // namespace TSEG
