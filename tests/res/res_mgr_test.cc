// SPDX-License-Identifier: Apache-2.0
#include "res/res_mgr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>

#include "res/loader_registry.h"
#include "res/test_models.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using modelfile::Bytes;
using modelfile::WriteModel;
using testing_support::LogCapture;
using testing_support::SmallDnn;
using testing_support::TempFolder;

const char* const kNotExist = "RES_MGR_ERROR_RESOURCE_NOT_EXIST";
const char* const kAlready = "RES_MGR_ERROR_RESOURCE_ALREADY_EXIST";
const char* const kInvalid = "RES_MGR_ERROR_INVALID_PARA_VALUE";

// A resource kind of the tests, whose load does what a test says.
class HookedLoader : public ResLoader {
 public:
  using ResLoader::load;
  using ResLoader::ResLoader;
  static std::function<int(IRes_mgr*, IRes*, IRes* const*, int)>& Hook() {
    static std::function<int(IRes_mgr*, IRes*, IRes* const*, int)> hook;
    return hook;
  }
  int load(IRes* res, const void*, uint64_t, const WREC_RES_SET&, IRes* const* deps, int nDeps) override {
    return Hook() ? Hook()(manager_, res, deps, nDeps) : 0;
  }
  void Delete(IRes* res) override { delete res; }
  IRes* CreateRes(const WREC_RES_SET& key, const char* path) override { return new Res(key, path); }
};

class ResMgr : public ::testing::Test {
 protected:
  ResMgr() : manager_(createResMgr()) {
    const Bytes bytes = WriteModel(SmallDnn());
    model_ = folder_.write("model.bin", std::string(bytes.begin(), bytes.end()));
    for (const int category : {kCategoryWfst, kCategoryOrvafst, kCategoryLm, 16}) {
      LoaderRegistry::instance().set(category, std::make_unique<ConcreateResLoaderCreate<HookedLoader>>());
    }
    HookedLoader::Hook() = nullptr;
  }
  ~ResMgr() override {
    HookedLoader::Hook() = nullptr;
    destroyResMgr(manager_);
  }
  int Add(const WREC_RES_SET& key, const std::string& path) { return manager_->Res_add(&key, path.c_str(), nullptr, 0); }

  LogCapture log_;
  TempFolder folder_;
  std::string model_;
  IRes_mgr* manager_;
  const WREC_RES_SET mlp_ = {9, "MLP"};
  const WREC_RES_SET apt_ = {2, "APT"};
};

TEST_F(ResMgr, AddsQueriesAndDeletesAModel) {
  ASSERT_EQ(Add(mlp_, model_), 0);
  EXPECT_EQ(log_.CountLines("ResAdd begin: szResType = MLP nResID = 9, szResURI = " + model_), 1) << log_.Text();
  EXPECT_EQ(log_.CountLines("ResAdd success: szResType = MLP nResID = 9, szResURI = " + model_), 1) << log_.Text();
  IRes* res = manager_->Res_query(&mlp_);
  auto* link = dynamic_cast<HMMResourceLink*>(res);
  ASSERT_NE(link, nullptr);
  EXPECT_NE(link->pDnn, nullptr);
  EXPECT_EQ(link->GetResURI(), model_);
  EXPECT_EQ(link->GetResSet()->nResID, 9);
  EXPECT_EQ(link->GetRefCount(), 0);
  EXPECT_EQ(manager_->Res_delete(&mlp_), 0);
  EXPECT_EQ(log_.CountLines("ResDelete: szResType = MLP nResID = 9"), 1);
  EXPECT_EQ(manager_->Res_query(&mlp_), nullptr);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_query | res query failed, resource doesn't exist, nResID = 9 szResType = MLP", "NULL", 0), 1)
      << log_.Text();
  EXPECT_EQ(Add(mlp_, model_), 0);
}

TEST_F(ResMgr, ScopesSurroundTheCalls) {
  ASSERT_EQ(Add(mlp_, model_), 0);
  EXPECT_EQ(log_.CountLines("TSEG::Res_mgr::Res_mgr | enter."), 1) << log_.Text();
  EXPECT_EQ(log_.CountLines("TSEG::Res_mgr::Res_add | enter."), 1);
  EXPECT_EQ(log_.CountLines(
                "TSEG::Res_mgr::Res_addingSet_del | enter.\nTSEG::Res_mgr::Res_addingSet_del | leave.\nTSEG::Res_mgr::Res_add | leave."),
            1)
      << log_.Text();
  manager_->Res_delete(&mlp_);
  EXPECT_EQ(log_.CountLines("TSEG::Res_mgr::Res_deletingSet_erase | enter.\nTSEG::Res_mgr::Res_deletingSet_erase | leave."), 1);
}

TEST_F(ResMgr, SaysThatTheLoggerWasThere) {
  EXPECT_EQ(log_.CountLines("Res_mgr | srlog_inst has been created!!"), 1) << log_.Text();
  EXPECT_EQ(log_.CountLines("Res_mgr::Res_mgr | srlog_open succeed!"), 1);
  destroyResMgr(manager_);
  manager_ = nullptr;
  EXPECT_TRUE(srlog_exists());
}

TEST_F(ResMgr, ANullPathIsRefusedInOneLine) {
  EXPECT_EQ(manager_->Res_add(&mlp_, nullptr, nullptr, 0), 30004);
  EXPECT_EQ(log_.CountLines("Res_add | para szResURI is NULL. RES_MGR_ERROR_NULL_HANDLE = 30004"), 1) << log_.Text();
  EXPECT_EQ(log_.Count("Error! The error string is -> "), 0) << log_.Text();
}

TEST_F(ResMgr, AFolderOrAMissingFileIsRefused) {
  for (const std::string& path : {folder_.path(), folder_.path() + "/", folder_.file("missing.bin"), std::string()}) {
    EXPECT_EQ(Add(mlp_, path), 30000) << path;
    EXPECT_EQ(log_.Failures("Res_mgr::Res_add | Invalid URL, resouce file not exist, szResURI = " + path, kNotExist, 30000), 1)
        << log_.Text();
  }
}

TEST_F(ResMgr, WhatIsNoPlainFileFailsInTheLoader) {
  EXPECT_EQ(Add(mlp_, "/dev/null"), 30002);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_add | loader->load error: resID=9 szResURI = /dev/null", "ret", 30002), 1) << log_.Text();
}

TEST_F(ResMgr, AnUnknownTypeIsRefused) {
  const WREC_RES_SET key = {3, "MLPX"};
  EXPECT_EQ(Add(key, model_), 30003);
  EXPECT_EQ(
      log_.Failures("Res_mgr::Res_add | invalid szResCategoryID , szResURI = " + model_ + ", szResType = MLPX nResID = 3", kInvalid, 30003),
      1)
      << log_.Text();
  EXPECT_EQ(manager_->Res_delete(&key), 30003);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_delete | resource type does not support, resId = 3 resType = MLPX", kInvalid, 30003), 1)
      << log_.Text();
}

using ResMgrCategoryDeathTest = ResMgr;

TEST_F(ResMgrCategoryDeathTest, AKnownTypeWithoutALoaderStopsTheProcess) {
  const WREC_RES_SET key = {3, "IVEC"};
  EXPECT_DEATH(Add(key, model_), "");
  const Bytes bytes(100);
  EXPECT_DEATH(manager_->Res_addM(&key, bytes.data(), 100, nullptr, 0), "");
}

TEST_F(ResMgr, AKeyIsAddedOnce) {
  ASSERT_EQ(Add(mlp_, model_), 0);
  IRes* first = manager_->Res_query(&mlp_);
  EXPECT_EQ(Add(mlp_, model_), 30001);
  EXPECT_EQ(manager_->Res_query(&mlp_), first);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_add | Need not to add resource, resource already exist, szResURI = " + model_ +
                              ", szResType = MLP nResID = 9",
                          kAlready, 30001),
            1)
      << log_.Text();
}

TEST_F(ResMgr, KeysDifferByNumberAndByType) {
  const WREC_RES_SET other = {10, "MLP"};
  ASSERT_EQ(Add(mlp_, model_), 0);
  EXPECT_EQ(Add(other, model_), 0);
  const WREC_RES_SET same_number = {9, "APT"};
  EXPECT_EQ(Add(same_number, model_), 0);
  EXPECT_NE(manager_->Res_query(&mlp_), manager_->Res_query(&same_number));
}

TEST_F(ResMgr, AfterAFailedAddTheKeyCanBeAddedAgain) {
  const std::string broken = folder_.write("broken.bin", std::string(100, 'x').replace(44, 8, "orvalin\0", 8));
  EXPECT_EQ(Add(mlp_, broken), 30002);
  EXPECT_EQ(manager_->Res_query(&mlp_), nullptr);
  EXPECT_EQ(Add(mlp_, model_), 0);
}

TEST_F(ResMgr, DuringALoadTheKeyIsNeitherThereNorAddedTwice) {
  IRes* seen = nullptr;
  int second = 0;
  HookedLoader::Hook() = [&](IRes_mgr* manager, IRes*, IRes* const*, int) {
    seen = manager->Res_query(&apt_);
    second = manager->Res_add(&apt_, model_.c_str(), nullptr, 0);
    return 0;
  };
  EXPECT_EQ(Add(apt_, model_), 0);
  EXPECT_EQ(seen, nullptr);
  EXPECT_EQ(second, 30001);
  EXPECT_EQ(
      log_.Failures("Res_mgr::Res_add | Need not to add resource, resource is being added, szResType = APT nResID = 2", kAlready, 30001), 1)
      << log_.Text();
}

TEST_F(ResMgr, ALoadOfOneKeyDoesNotHoldUpAnother) {
  std::atomic<bool> done{false};
  HookedLoader::Hook() = [&](IRes_mgr*, IRes*, IRes* const*, int) {
    while (!done) std::this_thread::yield();
    return 0;
  };
  std::thread slow([&] { EXPECT_EQ(Add(apt_, model_), 0); });
  EXPECT_EQ(Add(mlp_, model_), 0);
  done = true;
  slow.join();
}

TEST_F(ResMgr, DependenciesReachTheLoaderInOrder) {
  const WREC_RES_SET deps[2] = {{9, "MLP"}, {4, "APT"}};
  EXPECT_EQ(manager_->Res_add(&apt_, model_.c_str(), deps, 2), 30000);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_add | Res_query err, res not exist, res_id = 9 res_type = MLP", kNotExist, 30000), 1)
      << log_.Text();
  ASSERT_EQ(Add(mlp_, model_), 0);
  ASSERT_EQ(Add(deps[1], model_), 0);
  std::vector<IRes*> got;
  HookedLoader::Hook() = [&](IRes_mgr*, IRes*, IRes* const* d, int n) {
    got.assign(d, d + n);
    return 0;
  };
  EXPECT_EQ(manager_->Res_add(&apt_, model_.c_str(), deps, 2), 0);
  EXPECT_EQ(got, (std::vector<IRes*>{manager_->Res_query(&deps[0]), manager_->Res_query(&deps[1])}));
}

TEST_F(ResMgr, WithoutDependenciesTheLoaderGetsNone) {
  bool null = false;
  HookedLoader::Hook() = [&](IRes_mgr*, IRes*, IRes* const* d, int n) {
    null = d == nullptr && n == 0;
    return 0;
  };
  EXPECT_EQ(Add(apt_, model_), 0);
  EXPECT_TRUE(null);
}

TEST_F(ResMgr, ALanguageModelNeedNotBeAFile) {
  // It passes the test of the path and fails where its loader looks for it.
  const WREC_RES_SET lm = {5, "LM"};
  EXPECT_EQ(Add(lm, folder_.file("missing.bin")), 30002);
}

TEST_F(ResMgr, AWfstBringsAndTakesItsCompanion) {
  const WREC_RES_SET wfst = {7, "WFST"};
  const WREC_RES_SET companion = {7, "ORVAFST"};
  ASSERT_EQ(Add(wfst, model_), 0);
  EXPECT_NE(manager_->Res_query(&companion), nullptr);
  EXPECT_EQ(manager_->Res_delete(&wfst), 0);
  EXPECT_EQ(manager_->Res_query(&companion), nullptr);
  ASSERT_EQ(Add(wfst, model_), 0);
  EXPECT_EQ(manager_->Res_delete(&companion), 0);
  EXPECT_EQ(manager_->Res_delete(&wfst), 0);
  EXPECT_EQ(log_.CountLines("Res_mgr::Res_delete | ORVAFST resource has already deleted"), 1) << log_.Text();
}

TEST_F(ResMgr, AnUnknownKeyIsNotDeleted) {
  EXPECT_EQ(manager_->Res_delete(&mlp_), 30000);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_delete | resource does not exist, resId = 9 resType = MLP", kNotExist, 30000), 1) << log_.Text();
}

TEST_F(ResMgr, WhatIsCountedIsNotDeleted) {
  ASSERT_EQ(Add(mlp_, model_), 0);
  IRes* res = manager_->Res_query(&mlp_);
  EXPECT_EQ(res->IncRefCount(), 1);
  EXPECT_EQ(manager_->Res_delete(&mlp_), 30009);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_delete | res still been used, refCount = 1 resId = 9 resType = MLP",
                          "RES_MGR_ERROR_RESOURCE_DELETE", 30009),
            1)
      << log_.Text();
  EXPECT_EQ(res->DecRefCount(), 0);
  EXPECT_EQ(res->DecRefCount(), 0);
  EXPECT_EQ(log_.CountLines("DecRefCount | refCount number should not be negative"), 1);
  EXPECT_EQ(manager_->Res_delete(&mlp_), 0);
}

TEST_F(ResMgr, WhatIsLeftIsDeletedWithTheManager) {
  ASSERT_EQ(Add(mlp_, model_), 0);
  const std::string label(manager_->Res_query(&mlp_)->GetResKey(), 32);
  destroyResMgr(manager_);
  manager_ = nullptr;
  EXPECT_EQ(log_.CountLines("Res_mgr::~Res_mgr | 1's resource has not been release correctly"), 1) << log_.Text();
  EXPECT_EQ(log_.CountLines("Res_mgr::~Res_mgr | resouce leaked, " + label + " MLP 9\nResDelete: szResType = MLP nResID = 9"), 1)
      << log_.Text();
}

TEST_F(ResMgr, AddsFromMemory) {
  Bytes bytes = WriteModel(SmallDnn());
  ASSERT_EQ(manager_->Res_addM(&mlp_, bytes.data(), static_cast<long>(bytes.size()), nullptr, 0), 0);
  std::fill(bytes.begin(), bytes.end(), uint8_t{0});  // the caller's bytes are his own again
  const std::string length = std::to_string(bytes.size());
  EXPECT_EQ(log_.CountLines("ResAdd begin: szResType = MLP nResID = 9 length=" + length), 1) << log_.Text();
  EXPECT_EQ(log_.CountLines("ResAdd success: szResType = MLP nResID = 9 length=" + length), 1) << log_.Text();
  EXPECT_STREQ(manager_->Res_query(&mlp_)->GetResURI(), "memres");
  EXPECT_EQ(dynamic_cast<HMMResourceLink*>(manager_->Res_query(&mlp_))->pDnn->nLayers, 2);
  EXPECT_EQ(manager_->Res_addM(&mlp_, bytes.data(), 1, nullptr, 0), 30001);
  EXPECT_EQ(
      log_.Failures("Res_mgr::Res_addM | Need not to add resource, resource already exist, szResType = MLP nResID = 9", kAlready, 30001), 1)
      << log_.Text();
}

TEST_F(ResMgr, RefusesFromMemoryWhatItRefusesFromFiles) {
  const Bytes bytes(100);
  const WREC_RES_SET strange = {1, "ABC"};
  EXPECT_EQ(manager_->Res_addM(&strange, bytes.data(), 100, nullptr, 0), 30003);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_addM | invalid szResCategoryID, szResType = ABC nResID = 1", kInvalid, 30003), 1) << log_.Text();
  EXPECT_EQ(manager_->Res_addM(&mlp_, bytes.data(), 0, nullptr, 0), 30002);
  EXPECT_EQ(manager_->Res_addM(&mlp_, bytes.data(), 59, nullptr, 0), 30002);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_addM | loader->load error: resID=9", "ret", 30002), 2) << log_.Text();
  EXPECT_EQ(manager_->Res_addM(&mlp_, nullptr, 10, nullptr, 0), 30004);
  EXPECT_EQ(manager_->Res_addM(&apt_, bytes.data(), 100, &mlp_, 1), 30000);
  EXPECT_EQ(log_.Failures("Res_mgr::Res_addM | Res_query err, res not exist, res_id = 9 res_type = MLP", kNotExist, 30000), 1)
      << log_.Text();
}

TEST_F(ResMgr, ParametersBelongToOneManager) {
  char text[32] = "";
  EXPECT_TRUE(manager_->Res_setParameter("wresMgr_param_is_calc_md5", "false"));
  EXPECT_TRUE(manager_->Res_getParameter("wresMgr_param_is_calc_md5", text, sizeof text));
  EXPECT_STREQ(text, "0");
  IRes_mgr* other = createResMgr();
  EXPECT_TRUE(other->Res_getParameter("wresMgr_param_is_calc_md5", text, sizeof text));
  EXPECT_STREQ(text, "1");
  destroyResMgr(other);
  ASSERT_EQ(Add(mlp_, model_), 0);
  EXPECT_EQ(std::string(manager_->Res_query(&mlp_)->GetResKey(), 32), std::string("NULLMLP9") + std::string(24, '\0'));
}

TEST_F(ResMgr, NothingIsSharedByLabel) {
  EXPECT_EQ(manager_->Res_queryShared("NULLMLP9"), nullptr);
  EXPECT_EQ(manager_->Res_queryShared(nullptr), nullptr);
}

TEST(ResMgrLife, DestroyingNothingDoesNothing) { destroyResMgr(nullptr); }

TEST(ResMgrLife, AManagerClosesTheLoggerThatItOpened) {
  ASSERT_FALSE(srlog_exists());
  IRes_mgr* manager = createResMgr();
  destroyResMgr(manager);
  EXPECT_FALSE(srlog_exists());
}

// Reads the configuration in a process where no manager has read it yet, and tells whether no load labels with an MD5.
bool LoadsTwiceWithoutMd5() {
  const TempFolder folder;
  folder.write("w_tseg.cfg", "[resMgr]\nwresMgr_param_is_calc_md5 = false\n");
  std::filesystem::current_path(folder.path());
  const Bytes bytes = WriteModel(SmallDnn());
  const WREC_RES_SET key = {9, "MLP"};
  bool ok = true;
  for (int round = 0; round < 2; ++round) {
    IRes_mgr* manager = createResMgr();
    ok = ok && manager->Res_addM(&key, bytes.data(), static_cast<long>(bytes.size()), nullptr, 0) == 0;
    ok = ok && std::string(manager->Res_query(&key)->GetResKey()) == "NULLMLP9";
    destroyResMgr(manager);
  }
  std::filesystem::current_path("/");
  return ok;
}

TEST(ResMgrDeathTest, TheFileSwitchesMd5OffForEveryLaterLoad) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(LoadsTwiceWithoutMd5() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace TSEG
