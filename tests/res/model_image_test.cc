// SPDX-License-Identifier: Apache-2.0
//
// A model by itself, from a path or from bytes: good ones, and everything that is none, each with its code.
#include "res/model_image.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "support/temp_folder.h"

namespace TSEG {
namespace {

std::string ModelPath(const std::string& name) { return std::string(WVAD_TEST_DATA_DIR) + "/models/" + name; }

std::string Bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The code of a load that is to fail.
int RefusalOfFile(const std::string& path) {
  int code = 0;
  EXPECT_EQ(LoadModelFile(path, &code), nullptr) << path;
  return code;
}

int RefusalOfImage(const std::string& bytes) {
  int code = 0;
  EXPECT_EQ(LoadModelImage(bytes.data(), bytes.size(), "memory", &code), nullptr);
  return code;
}

TEST(LoadModelFile, TakesModelsOfEachKind) {
  for (const char* name : {"dnn.bin", "lstm75.bin", "lstm40.bin"}) {
    int code = -1;
    const auto link = LoadModelFile(ModelPath(name), &code);
    ASSERT_NE(link, nullptr) << name;
    EXPECT_EQ(code, 0) << name;
    EXPECT_EQ(link->pDnn != nullptr, std::string(name) == "dnn.bin") << name;
    EXPECT_EQ(link->pLstm != nullptr, std::string(name) != "dnn.bin") << name;
  }
}

TEST(LoadModelFile, PathWithoutAFileDoesNotExist) {
  const testing_support::TempFolder folder;
  EXPECT_EQ(RefusalOfFile(folder.file("none.bin")), kResNotExist);
  EXPECT_EQ(RefusalOfFile(folder.path()), kResNotExist);
  EXPECT_EQ(RefusalOfFile(""), kResNotExist);
}

TEST(LoadModelFile, FileThatIsNoModelIsRefusedByWhatItIs) {
  const testing_support::TempFolder folder;
  EXPECT_EQ(RefusalOfFile(folder.write("text.bin", std::string(20000, 'x'))), kResMagic);
  EXPECT_EQ(RefusalOfFile(folder.write("empty.bin", "")), kResUnreadable);
  const std::string model = Bytes(ModelPath("dnn.bin"));
  EXPECT_EQ(RefusalOfFile(folder.write("half.bin", model.substr(0, model.size() / 2))), kResUnreadable);
  EXPECT_EQ(RefusalOfFile(folder.write("short.bin", model.substr(0, model.size() - 1))), kResUnreadable);
}

TEST(LoadModelImage, HoldsNothingOfTheBytesItCameFrom) {
  std::string bytes = Bytes(ModelPath("dnn.bin"));
  int code = -1;
  const auto from_bytes = LoadModelImage(bytes.data(), bytes.size(), "memory", &code);
  ASSERT_NE(from_bytes, nullptr);
  EXPECT_EQ(code, 0);
  bytes.assign(bytes.size(), '\xFF');
  const auto from_file = LoadModelFile(ModelPath("dnn.bin"), &code);
  ASSERT_NE(from_file, nullptr);
  ASSERT_EQ(from_bytes->pDnn->nFeatureDim, 75);
  for (int i = 0; i < 75; ++i) EXPECT_EQ(from_bytes->pDnn->pMean[i], from_file->pDnn->pMean[i]) << i;
  EXPECT_STREQ(from_bytes->szModelValue[2], "dnn_fb75");
}

TEST(LoadModelImage, BytesThatAreNoModelAreRefusedByWhatTheyAre) {
  EXPECT_EQ(RefusalOfImage(std::string(20000, 'x')), kResMagic);
  EXPECT_EQ(RefusalOfImage(""), kResUnreadable);
  const std::string model = Bytes(ModelPath("lstm40.bin"));
  EXPECT_EQ(RefusalOfImage(model.substr(0, 100)), kResUnreadable);
  EXPECT_EQ(RefusalOfImage(model.substr(0, model.size() / 2)), kResUnreadable);
}

}  // namespace
}  // namespace TSEG
