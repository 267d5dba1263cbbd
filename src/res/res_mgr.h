// SPDX-License-Identifier: Apache-2.0
//
// The resource manager: the table from key to loaded resource, and the only way to load one.
//
// The engine makes one manager, adds one model under one key, queries it at every session start and deletes it at the end. Lookups and
// insertions run under one recursive lock; loads and releases run outside it.
#ifndef WVAD_RES_RES_MGR_H_
#define WVAD_RES_RES_MGR_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "nn/network_models.h"
#include "platform/platform.h"
#include "wvad.h"

namespace TSEG {

// The key of a resource. Ordered by nResID, then szResType as unsigned bytes.
struct WREC_RES_SET {
  int32_t nResID;
  char szResType[16];
};

// The public codes of loading under short names.
enum ResMgrError : int {
  kResNotExist = RES_MGR_ERROR_RESOURCE_NOT_EXIST,
  kResAlreadyExist = RES_MGR_ERROR_RESOURCE_ALREADY_EXIST,
  kResUnreadable = RES_MGR_ERROR_RESOURCE_UNREADABLE,  // cannot be opened or mapped, empty, cut short, inconsistent, unknown section kind
  kResInvalidValue = RES_MGR_ERROR_INVALID_PARA_VALUE,
  kResNullHandle = RES_MGR_ERROR_NULL_HANDLE,
  kResMagic = RES_MGR_ERROR_RESOURCE_MAGIC,  // not a model of this engine
  kResTooOld = RES_MGR_ERROR_RESOURCE_TOO_OLD,
  kResDelete = RES_MGR_ERROR_RESOURCE_DELETE,
  kResType = RES_MGR_ERROR_RESOURCE_TYPE  // unknown or unsupported network type
};

// A loaded resource, as the manager knows it.
class IRes {
 public:
  virtual ~IRes() = default;
  virtual const char* GetResURI() = 0;
  virtual WREC_RES_SET* GetResSet() = 0;
  virtual char* GetResKey() = 0;                // the 32-character label, without a terminator
  virtual void SetResKey(const char* key) = 0;  // copies exactly 32 bytes
  virtual int32_t IncRefCount() = 0;
  virtual int32_t DecRefCount() = 0;
  virtual int32_t GetRefCount() = 0;
};

class Res : public IRes {
 public:
  Res(const WREC_RES_SET& key, const char* path);
  ~Res() override;
  const char* GetResURI() override;
  WREC_RES_SET* GetResSet() override;
  char* GetResKey() override;
  void SetResKey(const char* key) override;
  int32_t IncRefCount() override;
  int32_t DecRefCount() override;
  int32_t GetRefCount() override;
  // Leaves the label to `make`, which is called when the label is first asked for.
  void LabelWhenAsked(std::function<std::string()> make);
  // Keeps the file mapped for the life of the resource; for loaders that do not copy.
  void KeepMapping(std::unique_ptr<platform::FileMapping> mapping) { mapping_ = std::move(mapping); }

 private:
  WREC_RES_SET set_;
  char path_[1024];
  char label_[32];
  std::function<std::string()> make_label_;  // until the label has been asked for
  std::mutex lock_;
  int32_t ref_count_ = 0;
  std::unique_ptr<platform::FileMapping> mapping_;  // null where the loader copied what it needed
};

// The holder of a model.
class HMMResourceLink : public Res {
 public:
  HMMResourceLink(const WREC_RES_SET& key, const char* path);
  ~HMMResourceLink() override;
  char szModelKey[32][16] = {};    // keys of the model header's table
  char szModelValue[32][16] = {};  // values of the same table
  std::vector<int32_t> pGeneral;   // "map" rows or the general table; may be empty
  // The network record: one of the two, or neither before a load. Forward objects look at them through plain pointers.
  std::unique_ptr<DnnModel> pDnn;
  std::unique_ptr<LstmModel> pLstm;
  int32_t nMlpType = -1;
  int32_t nSilenceRow = -1;
};

class IRes_mgr {
 public:
  virtual ~IRes_mgr() = default;
  // Loads `szResURI` under `key`. `deps` [nDeps] must be present already. 0 or a ResMgrError.
  virtual int Res_add(const WREC_RES_SET* key, const char* szResURI, const WREC_RES_SET* deps, int nDeps) = 0;
  // The same from memory; the caller keeps its bytes.
  virtual int Res_addM(const WREC_RES_SET* key, const void* data, long length, const WREC_RES_SET* deps, int nDeps) = 0;
  virtual bool Res_setParameter(const char* name, const char* value) = 0;
  virtual bool Res_getParameter(const char* name, char* value, unsigned nLen) = 0;
  // The resource under `key`, or null. Does not change its count.
  virtual IRes* Res_query(const WREC_RES_SET* key) = 0;
  virtual int Res_delete(const WREC_RES_SET* key) = 0;
  virtual IRes* Res_queryShared(const char* label) = 0;
};

IRes_mgr* createResMgr();
void destroyResMgr(IRes_mgr* manager);

}  // namespace TSEG

#endif  // WVAD_RES_RES_MGR_H_
