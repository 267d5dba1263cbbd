// SPDX-License-Identifier: Apache-2.0
#include "res/res_loader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "res/md5.h"
#include "res/model_format.h"
#include "res/test_models.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using modelfile::Bytes;
using modelfile::ModelContents;
using modelfile::Section;
using modelfile::WriteContainer;
using modelfile::WriteModel;
using testing_support::kModelKey;
using testing_support::Loaded;
using testing_support::LogCapture;
using testing_support::SmallDnn;
using testing_support::TempFolder;

constexpr WREC_RES_SET kOtherKey = {1, "APT"};

Bytes Words(const std::vector<int32_t>& words) {
  Bytes bytes(words.size() * 4);
  std::memcpy(bytes.data(), words.data(), bytes.size());
  return bytes;
}

std::string Write(const TempFolder& folder, const Bytes& bytes) {
  return folder.write("file.bin", std::string(bytes.begin(), bytes.end()));
}

// The file form of a load by a fresh loader.
struct FromFile {
  FromFile(const std::string& path, const CFG_RESMGR& cfg) : link(kModelKey, path.c_str()) {
    ResLoader_Ftr loader(nullptr);
    loader.SetConfiguration(&cfg);
    ret = loader.load(&link, path.c_str(), kModelKey, nullptr, 0);
  }
  explicit FromFile(const std::string& path) : FromFile(path, CFG_RESMGR{}) {}
  std::string Label() { return std::string(link.GetResKey(), 32); }
  HMMResourceLink link;
  int ret = -1;
};

TEST(ModelFile, TakesTheKeysIntoTheHolder) {
  const Loaded loaded(WriteModel(SmallDnn()));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_STREQ(loaded.link.szModelKey[6], "6");
  EXPECT_STREQ(loaded.link.szModelValue[2], "dnn_fb75");
  EXPECT_STREQ(loaded.link.szModelKey[7], "");
}

TEST(ModelFile, TakesTheSevenRowsWhateverTheirCountSays) {
  Bytes file = WriteModel(SmallDnn());
  const int32_t none = 0;
  std::memcpy(file.data() + 384 + 12372, &none, sizeof none);
  const Loaded loaded(file);
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_STREQ(loaded.link.szModelKey[0], "0");
}

TEST(ModelFile, WithAForeignMagicIsRefusedUnderAnotherType) {
  Bytes file = WriteModel(SmallDnn());
  file[44] = 'O';
  EXPECT_EQ(Loaded(file, kOtherKey).ret, 30005);
  file = WriteModel(SmallDnn());
  file[51] = 'x';  // the word goes on
  EXPECT_EQ(Loaded(file, kOtherKey).ret, 30005);
}

TEST(ModelFile, UnderAnotherTypeLoadsAsWell) { EXPECT_EQ(Loaded(WriteModel(SmallDnn()), kOtherKey).ret, 0); }

TEST(ModelFileDeathTest, OfTheOldKindEndsTheProcessAfterTenNotices) {
  Bytes file = WriteModel(SmallDnn());
  std::memset(file.data() + 44, 0, 16);
  const TempFolder folder;
  const std::string out = folder.file("stdout.txt");
  // The notices are flushed before the fault, to a file as to a terminal.
  EXPECT_DEATH(
      {
        if (std::freopen(out.c_str(), "w", stdout) == nullptr) std::exit(0);
        Loaded loaded(file);
      },
      "");
  std::string expected;
  for (int i = 0; i < 10; ++i) expected += "VAD or acmod resource too old, not supported anymore.\nPlease update resource.\n";
  EXPECT_EQ(folder.read("stdout.txt"), expected);
}

TEST(ModelFile, OfATypeThatDoesNotRunIsRefused) {
  for (const char* type : {"MLP_RES_BN",           "MLP_RES_DNN_APT",     "MLP_RES_RNN",
                           "MLP_RES_RNN_CTC",      "MLP_RES_DNN_GENERAL", "MLP_RES_DNN_LR",
                           "MLP_RES_DNN_TREE",     "MLP_RES_DNN_LR_APT",  "MLP_RES_RNN_APT",
                           "MLP_RES_DNN_FIXPOINT", "MLP_RES_DNN_IVEC",    "MLP_RES_RNN_IVEC",
                           "MLP_RES_UBRNN",        "MLP_RES_UBRNN_APT",   "MLP_RES_BIRNN",
                           "MLP_RES_BIRNN_CTC",    "MLP_RES_RNNCATDNX",   "MLP_RES_RNNCNNPAD2",
                           "MLP_RES_DNN2",         "mlp_res_dnn",         ""}) {
    ModelContents contents = SmallDnn();
    contents.network_type = type;
    LogCapture log;
    EXPECT_EQ(Loaded(WriteModel(contents)).ret, 30011) << type;
    EXPECT_EQ(log.CountLines("resLoader_ftr | load MLP_RES TYPE not supported."), 1) << type;
  }
}

TEST(ModelFile, IntoAResourceOfAnotherClassIsRefused) {
  const Bytes file = WriteModel(SmallDnn());
  Res other(kModelKey, "memres");
  ResLoader_Ftr loader(nullptr);
  LogCapture log;
  EXPECT_EQ(loader.load(&other, file.data(), file.size(), kModelKey, nullptr, 0), 30003);
  EXPECT_EQ(log.Failures("ResLoader_ftr::load | HMM link should not be NULL", "RES_MGR_ERROR_INVALID_PARA_VALUE", 30003), 1) << log.Text();
}

TEST(ModelFile, ReleaseToleratesWhatIsNotThere) {
  ResLoader_Ftr loader(nullptr);
  loader.Delete(nullptr);
  loader.Delete(loader.CreateRes(kModelKey, "memres"));
  LogCapture log;
  loader.Delete(new Res(kModelKey, "memres"));
  EXPECT_EQ(log.CountLines("ResLoader_ftr::load | HMM link should not be NULL"), 1);
}

TEST(Container, WithoutItsMagicIsAPlainModelWhateverItCounts) {
  Bytes file = WriteModel(SmallDnn());
  file[380] = 7;
  EXPECT_EQ(Loaded(file).ret, 0);
  EXPECT_NE(Loaded(file).link.pDnn, nullptr);
}

TEST(Container, WithNoSectionsIsAPlainModel) {
  Bytes file = WriteModel(SmallDnn());
  std::memcpy(file.data() + 148, "orvalin", 8);
  EXPECT_EQ(Loaded(file).ret, 0);
}

TEST(Container, WithASizeOneOffIsAPlainModel) {
  const Bytes container = WriteContainer({{2, Words({1, 2, 3})}});
  EXPECT_EQ(Loaded(container).ret, 0);
  for (const int off : {-1, 1}) {
    Bytes file = container;
    file[368] = static_cast<uint8_t>(file[368] + off);
    EXPECT_EQ(Loaded(file).ret, 30002) << off;  // the header of a model does not fit where it would begin
    file[44] = 'O';
    EXPECT_EQ(Loaded(file, kOtherKey).ret, 30005) << off;
  }
  Bytes high = container;
  high[372] = 1;
  EXPECT_EQ(Loaded(high).ret, 30002);
  // A model with room for a section record and one section of size one off: read as the model that it is.
  Bytes model = WriteModel(SmallDnn());
  std::memcpy(model.data() + 148, "orvalin", 8);
  model[380] = 1;
  model[368] = static_cast<uint8_t>(model[368] + 1);
  EXPECT_EQ(Loaded(model).ret, 0);
}

TEST(Container, OfAGeneralTableLoads) {
  const Loaded loaded(WriteContainer({{2, Words({18, 19, 20, -1, -1, -1, -1, -1, 5})}}));
  EXPECT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.pGeneral, (std::vector<int32_t>{18, 19, 20, -1, -1, -1, -1, -1, 5}));
  EXPECT_EQ(loaded.link.nSilenceRow, 0);
  EXPECT_STREQ(loaded.link.szModelKey[0], "");
}

TEST(Container, AGeneralTableIsTakenInWholeWords) {
  Bytes bytes = Words({7, 8});
  bytes.push_back(9);
  EXPECT_EQ(Loaded(WriteContainer({{2, bytes}})).link.pGeneral, (std::vector<int32_t>{7, 8}));
  const Loaded three(WriteContainer({{2, Bytes{1, 2, 3}}}));
  EXPECT_EQ(three.ret, 0);
  EXPECT_TRUE(three.link.pGeneral.empty());
  EXPECT_EQ(three.link.nSilenceRow, -1);
}

TEST(Container, SkipsSectionsOfKindZero) { EXPECT_EQ(Loaded(WriteContainer({{0, Bytes(10)}, {0, {}}})).ret, 0); }

TEST(Container, RefusesModelSectionsByTheirType) {
  for (const char* type : {"MLP_RES_DNN", "MLP_RES_RNNCATDNN", "MLP_RES_BIRNN", "MLP_RES_RNN", "MLP_RES_DNN_TREE", "MLP_RES_OTHER"}) {
    ModelContents contents = SmallDnn();
    contents.network_type = type;
    LogCapture log;
    const Loaded loaded(WriteContainer({{1, WriteModel(contents)}}));
    EXPECT_EQ(loaded.ret, 30011) << type;
    EXPECT_EQ(loaded.link.pDnn, nullptr);
    EXPECT_EQ(log.CountLines("ResLoader_ftr::MLPResourceAddM | load resource err, ret = 30011"), 1) << log.Text();
  }
}

TEST(Container, RefusesTheImageOfAnOldRecord) {
  LogCapture log;
  EXPECT_EQ(Loaded(WriteContainer({{1, Bytes(1136)}})).ret, 30005);
  EXPECT_EQ(log.CountLines("ResLoader_ftr::MLPResourceAddM | load resource err, ret = 30005"), 1) << log.Text();
}

TEST(Container, OrsTheResultsOfItsSections) {
  const Bytes old(1136);
  const Bytes model = WriteModel(SmallDnn());
  const Bytes table = Words({1});
  const struct {
    const char* name;
    std::vector<Section> sections;
    int ret;
  } kRows[] = {
      {"an unknown kind", {{3, table}}, 30002},
      {"a later success leaves it", {{3, table}, {2, table}}, 30002},
      {"a later failure is added", {{3, table}, {1, model}}, 30002 | 30011},
      {"a later unknown kind sets it anew", {{1, model}, {3, table}}, 30002},
      {"two failures", {{1, model}, {1, old}}, 30011 | 30005},
      {"after a failure the rest is still loaded", {{1, model}, {2, table}}, 30011},
  };
  for (const auto& row : kRows) {
    const Loaded loaded(WriteContainer(row.sections));
    EXPECT_EQ(loaded.ret, row.ret) << row.name;
    EXPECT_EQ(loaded.link.pGeneral.size(), row.sections.back().kind == 2 ? 1u : 0u) << row.name;
  }
}

TEST(Container, RefusesSectionsThatReachBeyondTheEnd) {
  const Bytes sound = WriteContainer({{2, Words({1, 2})}, {1, WriteModel(SmallDnn())}});
  const struct {
    const char* name;
    size_t offset;
    uint32_t value;
    const char* line;
  } kRows[] = {
      {"length", 384 + 8, 0xFFFFFFFF, "section 0 reaches beyond the end of the file"},
      {"offset", 384 + 16, 0xFFFFFFFF, "section 0 reaches beyond the end of the file"},
      {"second offset", 384 + 24 + 16, 500, "section 1 reaches beyond the end of the file"},
  };
  for (const auto& row : kRows) {
    Bytes file = sound;
    uint32_t value = row.value;
    if (row.value == 500) value = static_cast<uint32_t>(sound.size() - 500);
    std::memcpy(file.data() + row.offset, &value, 4);
    LogCapture log;
    EXPECT_EQ(Loaded(file).ret & 30002, 30002) << row.name;
    EXPECT_EQ(log.Failures(std::string("ResLoader_ftr::load | model file refused, ") + row.line, "ret", 30002), 1) << log.Text();
  }
}

TEST(Container, RefusesATableOfRecordsThatIsCutShort) {
  Bytes file = WriteContainer({{2, Words({1, 2})}});
  file[380] = 0xFF;
  file[381] = 0xFF;
  LogCapture log;
  EXPECT_EQ(Loaded(file).ret, 30002);
  EXPECT_EQ(log.Failures("ResLoader_ftr::load | model file refused, the section table reaches beyond the end of the file", "ret", 30002),
            1);
}

TEST(Container, RefusesASectionThatIsShorterThanItsPrefix) {
  for (const size_t n : {size_t{0}, size_t{44}, size_t{59}}) EXPECT_EQ(Loaded(WriteContainer({{1, Bytes(n)}})).ret, 30002) << n;
}

TEST(Container, RefusesASectionThatIsShorterThanTheTypeInItsHeader) {
  // The header begins at 384, its type word ends 48 bytes behind that.
  const Bytes model = WriteModel(SmallDnn());
  const auto cut = [&model](std::ptrdiff_t n) { return Bytes(model.begin(), model.begin() + n); };
  LogCapture log;
  EXPECT_EQ(Loaded(WriteContainer({{1, cut(431)}})).ret, 30002);
  EXPECT_EQ(log.Failures("ResLoader_ftr::load | model file refused, the header reaches beyond the end of a section", "ret", 30002), 1)
      << log.Text();
  EXPECT_EQ(log.CountLines("ResLoader_ftr::MLPResourceAddM | load resource err, ret = 30002"), 1) << log.Text();
  EXPECT_EQ(Loaded(WriteContainer({{1, cut(432)}})).ret, 30011);
}

TEST(FileLoad, LogsThePreloadAndTheTimeAndLabelsByMd5) {
  const TempFolder folder;
  const Bytes bytes = WriteModel(SmallDnn());
  const std::string path = Write(folder, bytes);
  int32_t sum = 0;
  for (size_t at = 0; at < bytes.size(); at += 4096) sum += static_cast<int8_t>(bytes[at]);
  LogCapture log;
  FromFile loaded(path);
  EXPECT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.Label(), Md5Hex(bytes.data(), bytes.size()));
  EXPECT_EQ(log.CountLines("preload res to memory..." + path + " : " + std::to_string(bytes.size())), 1) << log.Text();
  EXPECT_EQ(log.Count("load res cost time : "), 1) << log.Text();
  EXPECT_EQ(log.CountLines("successed to map file -> 9 : checkSum = " + std::to_string(sum)), 1) << log.Text();
}

TEST(FileLoad, AFileThatHasChangedSinceIsLabelledByTypeAndNumber) {
  const std::string unlabelled = std::string("NULLMLP9") + std::string(24, '\0');
  const TempFolder folder;
  const Bytes bytes = WriteModel(SmallDnn());
  const std::string path = Write(folder, bytes);
  FromFile longer(path), later(path), gone(path), asked(path);
  EXPECT_EQ(asked.Label(), Md5Hex(bytes.data(), bytes.size()));

  const auto written = std::filesystem::last_write_time(path);
  std::filesystem::last_write_time(path, written - std::chrono::hours(1));
  EXPECT_EQ(later.Label(), unlabelled);
  std::ofstream(path, std::ios::app) << "more";
  std::filesystem::last_write_time(path, written);
  EXPECT_EQ(longer.Label(), unlabelled);
  std::filesystem::remove(path);
  EXPECT_EQ(gone.Label(), unlabelled);
  EXPECT_EQ(asked.Label(), Md5Hex(bytes.data(), bytes.size()));  // what was told once stays
}

TEST(FileLoad, WithoutMd5TheLabelIsTypeAndNumber) {
  const TempFolder folder;
  const std::string path = Write(folder, WriteModel(SmallDnn()));
  CFG_RESMGR cfg;
  cfg.is_calc_md5 = false;
  FromFile loaded(path, cfg);
  EXPECT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.Label(), std::string("NULLMLP9") + std::string(24, '\0'));
}

TEST(FileLoad, ALongLabelIsCutAt32) {
  const WREC_RES_SET key = {-2147483647 - 1, {'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J', 'K', 'L', 'M', 'N', 'O', 'P'}};
  const Bytes file = WriteModel(SmallDnn());
  CFG_RESMGR cfg;
  cfg.is_calc_md5 = false;
  ResLoader_Ftr loader(nullptr);
  loader.SetConfiguration(&cfg);
  HMMResourceLink link(key, "memres");
  EXPECT_EQ(loader.LoadLabelled(&link, file.data(), file.size(), key, nullptr, 0), 0);
  EXPECT_EQ(std::string(link.GetResKey(), 32), "NULLABCDEFGHIJKLMNOP-2147483648" + std::string(1, '\0'));
}

TEST(FileLoad, OfAnEmptyMissingOrUnmappableFileIsRefused) {
  const TempFolder folder;
  EXPECT_EQ(FromFile(folder.write("empty.bin", "")).ret, 30002);
  EXPECT_EQ(FromFile(folder.file("missing.bin")).ret, 30002);
  EXPECT_EQ(FromFile("/dev/null").ret, 30002);
}

TEST(Preload, TouchesOneByteAPage) {
  Bytes bytes(3 * 4096, 100);
  bytes[0] = 1;
  bytes[4096] = 0xFF;  // -1
  bytes[8192] = 0x80;  // -128
  EXPECT_EQ(PreloadPages(bytes.data(), 4096, "p").nPages, 1u);
  EXPECT_EQ(PreloadPages(bytes.data(), 4097, "p").nPages, 2u);
  EXPECT_EQ(PreloadPages(bytes.data(), 4097, "p").checkSum, 0);
  EXPECT_EQ(PreloadPages(bytes.data(), 12288, "p").checkSum, -128);
  EXPECT_EQ(PreloadPages(bytes.data(), 0, "p").nPages, 0u);
}

TEST(Preload, TellsEach128MiBOnStandardOutput) {
  const size_t unit = size_t{128} << 20;
  // Untouched pages of zeros: they are all one page of the system.
  const std::unique_ptr<void, void (*)(void*)> zeros(std::calloc(unit + 1, 1), std::free);
  ASSERT_NE(zeros, nullptr);
  ::testing::internal::CaptureStdout();
  PreloadPages(zeros.get(), unit - 4096, "some/path");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  ::testing::internal::CaptureStdout();
  PreloadPages(zeros.get(), unit + 1, "some/path");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Reading: some/path->128 MB\r\n");
}

// A loader that leaves the file mapped.
class KeepingLoader : public ResLoader_Ftr {
 public:
  using ResLoader::load;
  using ResLoader_Ftr::ResLoader_Ftr;
  int load(IRes*, const void* data, uint64_t, const WREC_RES_SET&, IRes* const*, int) override {
    seen = static_cast<const char*>(data);
    return 0;
  }
  bool KeepMapping() override { return true; }
  const char* seen = nullptr;
};

TEST(FileLoad, AResourceMayKeepItsMapping) {
  const TempFolder folder;
  const std::string path = folder.write("file.bin", "kept");
  KeepingLoader loader(nullptr);
  HMMResourceLink link(kModelKey, path.c_str());
  ASSERT_EQ(loader.load(&link, path.c_str(), kModelKey, nullptr, 0), 0);
  EXPECT_EQ(std::string(loader.seen, 4), "kept");  // readable after the load has ended
}

}  // namespace
}  // namespace TSEG
