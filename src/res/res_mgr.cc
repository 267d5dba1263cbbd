// SPDX-License-Identifier: Apache-2.0
//
// Res_mgr: the one implementation of the manager.
//
// One recursive lock guards the table and the two sets, and is held for lookups and insertions alone. While a key is loaded or released it
// stands in the adding or the deleting set, so that a second caller turns back at once instead of waiting.
#include "res/res_mgr.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "log/refusal.h"
#include "res/cpu_singleton.h"
#include "res/loader_registry.h"

namespace TSEG {
namespace {

struct KeyLess {
  bool operator()(const WREC_RES_SET& a, const WREC_RES_SET& b) const {
    if (a.nResID != b.nResID) return a.nResID < b.nResID;
    return std::strncmp(a.szResType, b.szResType, sizeof a.szResType) < 0;
  }
};

std::string TypeText(const WREC_RES_SET& key) { return std::string(key.szResType, strnlen(key.szResType, sizeof key.szResType)); }

// One line alone, which names the code itself.
int RefuseNull(const char* function, const char* what) {
  WVAD_LOG_ERROR("%s | para %s is NULL. %s = %d", function, what, "RES_MGR_ERROR_NULL_HANDLE", kResNullHandle);
  return kResNullHandle;
}

// Runs an action at the end of a call, whichever way it ends.
class AtEnd {
 public:
  explicit AtEnd(std::function<void()> action) : action_(std::move(action)) {}
  ~AtEnd() { action_(); }
  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;

 private:
  std::function<void()> action_;
};

class Res_mgr : public IRes_mgr {
 public:
  Res_mgr();
  ~Res_mgr() override;
  int Res_add(const WREC_RES_SET* key, const char* szResURI, const WREC_RES_SET* deps, int nDeps) override;
  int Res_addM(const WREC_RES_SET* key, const void* data, long length, const WREC_RES_SET* deps, int nDeps) override;
  bool Res_setParameter(const char* name, const char* value) override { return cfg_->set_para_value(name, value); }
  bool Res_getParameter(const char* name, char* value, unsigned nLen) override { return cfg_->get_para_value(name, value, nLen); }
  IRes* Res_query(const WREC_RES_SET* key) override;
  int Res_delete(const WREC_RES_SET* key) override;
  IRes* Res_queryShared(const char* label) override { return label == nullptr ? nullptr : LoaderRegistry::instance().find_shared(label); }

 private:
  // Where a resource comes from, and the words of the log lines that differ by it.
  struct Source {
    const char* name;  // "Res_mgr::Res_add" or "Res_mgr::Res_addM"
    const char* path;  // null for a resource from memory
    const void* data;
    long length;
    bool from_file() const { return path != nullptr; }
  };

  int Res_checkAndMark(const WREC_RES_SET& key, const Source& source);
  int Res_fetchDependencies(const WREC_RES_SET* deps, int nDeps, const Source& source, std::vector<IRes*>* out);
  int Res_addMarked(const WREC_RES_SET& key, const Source& source, int category, const std::vector<IRes*>& deps);
  int Res_markForDelete(const WREC_RES_SET& key, const std::string& type);
  std::unique_ptr<ResLoader> Res_makeLoader(int category);
  void Res_addingSet_del(const WREC_RES_SET& key);
  void Res_deletingSet_erase(const WREC_RES_SET& key);

  bool opened_log_ = false;
  std::unique_ptr<CFG_RESMGR> cfg_;
  std::map<WREC_RES_SET, IRes*, KeyLess> table_;
  std::set<WREC_RES_SET, KeyLess> adding_;
  std::set<WREC_RES_SET, KeyLess> deleting_;
  std::recursive_mutex lock_;
};

using Hold = std::lock_guard<std::recursive_mutex>;

Res_mgr::Res_mgr() {
  if (srlog_exists()) {
    WVAD_LOG_VERBOSE("Res_mgr | srlog_inst has been created!!");
  } else {
    const LogDefaults defaults = {"../log/res.log", "Resource Logging"};
    srlog_open("res.cfu", "logger", defaults);
    opened_log_ = srlog_exists();
    WVAD_LOG_VERBOSE("Res_mgr | srlog_open succeed!");
  }
  const TraceScope scope("TSEG::Res_mgr::Res_mgr");
  WVAD_LOG_VERBOSE("Res_mgr::Res_mgr | srlog_open succeed!");
  const CFG_RESMGR& defaults = DefaultCfgResMgr();
  CPUSingleton::instance();
  LoaderRegistry& registry = LoaderRegistry::instance();
  if (registry.find(kCategoryMlp) == nullptr) registry.set(kCategoryMlp, std::make_unique<ConcreateResLoaderCreate<ResLoader_Ftr>>());
  cfg_ = std::make_unique<CFG_RESMGR>(defaults);
}

Res_mgr::~Res_mgr() {
  {
    const TraceScope scope("TSEG::Res_mgr::~Res_mgr");
    if (!table_.empty()) {
      WVAD_LOG_WARN("Res_mgr::~Res_mgr | %d's resource has not been release correctly", static_cast<int>(table_.size()));
    }
    // What is still counted cannot be deleted, and then this never ends: a count above 0 here means that somebody still reads
    // the resource.
    while (!table_.empty()) {
      const WREC_RES_SET key = table_.begin()->first;
      const std::string label(table_.begin()->second->GetResKey(), 32);
      WVAD_LOG_WARN("Res_mgr::~Res_mgr | resouce leaked, %s %s %d", label.c_str(), TypeText(key).c_str(), key.nResID);
      Res_delete(&key);
    }
    cfg_.reset();
    // Only a logger that this manager opened; the engine's own goes on.
    if (opened_log_) srlog_close();
  }
}

int Res_mgr::Res_add(const WREC_RES_SET* key, const char* szResURI, const WREC_RES_SET* deps, int nDeps) {
  const TraceScope scope("TSEG::Res_mgr::Res_add");
  if (szResURI == nullptr || key == nullptr) {
    return RefuseNull("Res_add", szResURI == nullptr ? "szResURI" : "key");
  }
  const std::string type = TypeText(*key);
  WVAD_LOG_INFO("ResAdd begin: szResType = %s nResID = %d, szResURI = %s", type.c_str(), key->nResID, szResURI);
  const AtEnd unmark([this, key] { Res_addingSet_del(*key); });
  if (type != "LM" && platform::KindOfPath(szResURI) != platform::PathKind::kFile) {
    return WVAD_REFUSE(kResNotExist, "Res_mgr::Res_add | Invalid URL, resouce file not exist, szResURI = %s", szResURI);
  }
  const std::optional<int> category = ResCategory(type);
  if (!category) {
    return WVAD_REFUSE(kResInvalidValue, "Res_mgr::Res_add | invalid szResCategoryID , szResURI = %s, szResType = %s nResID = %d", szResURI,
                       type.c_str(), key->nResID);
  }
  const Source source = {"Res_mgr::Res_add", szResURI, nullptr, 0};
  if (const int ret = Res_checkAndMark(*key, source)) return ret;
  std::vector<IRes*> found;
  if (const int ret = Res_fetchDependencies(deps, nDeps, source, &found)) return ret;
  if (const int ret = Res_addMarked(*key, source, *category, found)) return ret;
  if (*category == kCategoryWfst) {
    WREC_RES_SET second = {key->nResID, "ORVAFST"};
    Res_add(&second, szResURI, nullptr, 0);
  }
  return 0;
}

int Res_mgr::Res_addM(const WREC_RES_SET* key, const void* data, long length, const WREC_RES_SET* deps, int nDeps) {
  const TraceScope scope("TSEG::Res_mgr::Res_addM");
  if (key == nullptr || data == nullptr || length < 0) {
    return RefuseNull("Res_addM", key == nullptr ? "key" : "data");
  }
  const std::string type = TypeText(*key);
  WVAD_LOG_INFO("ResAdd begin: szResType = %s nResID = %d length=%ld", type.c_str(), key->nResID, length);
  const AtEnd unmark([this, key] { Res_addingSet_del(*key); });
  const std::optional<int> category = ResCategory(type);
  if (!category) {
    return WVAD_REFUSE(kResInvalidValue, "Res_mgr::Res_addM | invalid szResCategoryID, szResType = %s nResID = %d", type.c_str(),
                       key->nResID);
  }
  const Source source = {"Res_mgr::Res_addM", nullptr, data, length};
  if (const int ret = Res_checkAndMark(*key, source)) return ret;
  std::vector<IRes*> found;
  if (const int ret = Res_fetchDependencies(deps, nDeps, source, &found)) return ret;
  if (const int ret = Res_addMarked(*key, source, *category, found)) return ret;
  if (*category == kCategoryWfst) {
    WREC_RES_SET second = {key->nResID, "ORVAFST"};
    Res_addM(&second, data, length, nullptr, 0);
  }
  return 0;
}

int Res_mgr::Res_checkAndMark(const WREC_RES_SET& key, const Source& source) {
  const std::string type = TypeText(key);
  const Hold hold(lock_);
  if (table_.count(key) != 0) {
    if (source.from_file()) {
      return WVAD_REFUSE(kResAlreadyExist,
                         "%s | Need not to add resource, resource already exist, szResURI = %s, szResType = %s nResID = %d", source.name,
                         source.path, type.c_str(), key.nResID);
    }
    return WVAD_REFUSE(kResAlreadyExist, "%s | Need not to add resource, resource already exist, szResType = %s nResID = %d", source.name,
                       type.c_str(), key.nResID);
  }
  if (adding_.count(key) != 0) {
    return WVAD_REFUSE(kResAlreadyExist, "%s | Need not to add resource, resource is being added, szResType = %s nResID = %d", source.name,
                       type.c_str(), key.nResID);
  }
  adding_.insert(key);
  return 0;
}

int Res_mgr::Res_fetchDependencies(const WREC_RES_SET* deps, int nDeps, const Source& source, std::vector<IRes*>* out) {
  const Hold hold(lock_);
  for (int i = 0; deps != nullptr && i < nDeps; ++i) {
    IRes* found = Res_query(&deps[i]);
    if (found == nullptr) {
      return WVAD_REFUSE(kResNotExist, "%s | Res_query err, res not exist, res_id = %d res_type = %s", source.name, deps[i].nResID,
                         TypeText(deps[i]).c_str());
    }
    out->push_back(found);
  }
  return 0;
}

std::unique_ptr<ResLoader> Res_mgr::Res_makeLoader(int category) {
  ResLoaderCreater* creator = LoaderRegistry::instance().find(category);
  // The table of categories only filters names. To ask for one without a loader is a programming error, and stops the process.
  if (creator == nullptr) platform::FaultAtZero();
  std::unique_ptr<ResLoader> loader = creator->create(this);
  loader->SetConfiguration(cfg_.get());
  return loader;
}

// From the making of the loader to the entry in the table.
int Res_mgr::Res_addMarked(const WREC_RES_SET& key, const Source& source, int category, const std::vector<IRes*>& deps) {
  const std::string type = TypeText(key);
  const std::unique_ptr<ResLoader> loader = Res_makeLoader(category);
  IRes* const* dependencies = deps.empty() ? nullptr : deps.data();
  const int count = static_cast<int>(deps.size());
  IRes* res = loader->CreateRes(key, source.from_file() ? source.path : "memres");
  const int ret = source.from_file()
                      ? loader->load(res, source.path, key, dependencies, count)
                      : loader->LoadLabelled(res, source.data, static_cast<uint64_t>(source.length), key, dependencies, count);
  if (ret != 0) {
    loader->Delete(res);
    if (source.from_file()) {
      return WVAD_FAIL(ret, "ret", "%s | loader->load error: resID=%d szResURI = %s", source.name, key.nResID, source.path);
    }
    return WVAD_FAIL(ret, "ret", "%s | loader->load error: resID=%d", source.name, key.nResID);
  }
  const Hold hold(lock_);
  table_[key] = res;
  adding_.erase(key);
  if (source.from_file()) {
    WVAD_LOG_INFO("ResAdd success: szResType = %s nResID = %d, szResURI = %s", type.c_str(), key.nResID, source.path);
  } else {
    WVAD_LOG_INFO("ResAdd success: szResType = %s nResID = %d length=%ld", type.c_str(), key.nResID, source.length);
  }
  return 0;
}

IRes* Res_mgr::Res_query(const WREC_RES_SET* key) {
  if (key == nullptr) return nullptr;
  {
    const Hold hold(lock_);
    const auto found = table_.find(*key);
    if (found != table_.end()) return found->second;
  }
  WVAD_FAIL(0, "NULL", "Res_mgr::Res_query | res query failed, resource doesn't exist, nResID = %d szResType = %s", key->nResID,
            TypeText(*key).c_str());
  return nullptr;
}

int Res_mgr::Res_markForDelete(const WREC_RES_SET& key, const std::string& type) {
  const Hold hold(lock_);
  const auto found = table_.find(key);
  if (found == table_.end()) {
    return WVAD_REFUSE(kResNotExist, "Res_mgr::Res_delete | resource does not exist, resId = %d resType = %s", key.nResID, type.c_str());
  }
  const int32_t references = found->second->GetRefCount();
  if (references != 0) {
    return WVAD_REFUSE(kResDelete, "Res_mgr::Res_delete | res still been used, refCount = %d resId = %d resType = %s", references,
                       key.nResID, type.c_str());
  }
  if (!deleting_.insert(key).second) {
    return WVAD_REFUSE(kResNotExist,
                       "Res_mgr::Res_delete | Need not to delete resource, resource is being deleted, szResType = %s nResID = %d",
                       type.c_str(), key.nResID);
  }
  return 0;
}

int Res_mgr::Res_delete(const WREC_RES_SET* key_in) {
  if (key_in == nullptr) {
    return RefuseNull("Res_delete", "key");
  }
  const WREC_RES_SET key = *key_in;  // the caller's may be that of the resource itself
  const std::string type = TypeText(key);
  WVAD_LOG_INFO("ResDelete: szResType = %s nResID = %d", type.c_str(), key.nResID);
  const AtEnd unmark([this, &key] { Res_deletingSet_erase(key); });
  const std::optional<int> category = ResCategory(type);
  if (!category) {
    return WVAD_REFUSE(kResInvalidValue, "Res_mgr::Res_delete | resource type does not support, resId = %d resType = %s", key.nResID,
                       type.c_str());
  }
  if (const int ret = Res_markForDelete(key, type)) return ret;
  const std::unique_ptr<ResLoader> loader = Res_makeLoader(*category);
  IRes* res = nullptr;
  {
    const Hold hold(lock_);
    res = table_.at(key);
  }
  loader->Delete(res);
  {
    const Hold hold(lock_);
    table_.erase(key);
    deleting_.erase(key);
  }
  if (*category == kCategoryWfst) {
    const WREC_RES_SET second = {key.nResID, "ORVAFST"};
    bool present = false;
    {
      const Hold hold(lock_);
      present = table_.count(second) != 0;
    }
    if (present) {
      Res_delete(&second);
    } else {
      WVAD_LOG_WARN("Res_mgr::Res_delete | ORVAFST resource has already deleted");
    }
  }
  return 0;
}

void Res_mgr::Res_addingSet_del(const WREC_RES_SET& key) {
  const TraceScope scope("TSEG::Res_mgr::Res_addingSet_del");
  const Hold hold(lock_);
  adding_.erase(key);
}

void Res_mgr::Res_deletingSet_erase(const WREC_RES_SET& key) {
  const TraceScope scope("TSEG::Res_mgr::Res_deletingSet_erase");
  const Hold hold(lock_);
  deleting_.erase(key);
}

}  // namespace

IRes_mgr* createResMgr() { return new (std::nothrow) Res_mgr; }
void destroyResMgr(IRes_mgr* manager) { delete manager; }

}  // namespace TSEG
