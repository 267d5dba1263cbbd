// SPDX-License-Identifier: Apache-2.0
//
// ResLoader: from a path or a block of memory to a filled resource holder. A loader lives for one add or delete and holds nothing
// afterwards.
//
// ResLoader does what every kind of resource needs: mapping the file, touching its pages, timing, labelling. ResLoader_Ftr is the one for
// models: it takes a file or container apart and hands its networks to their loaders. Runs on the caller's thread, outside the manager's
// lock.
#ifndef WVAD_RES_RES_LOADER_H_
#define WVAD_RES_RES_LOADER_H_

#include <cstdint>
#include <string>

#include "base/byte_cursor.h"
#include "res/cfg_resmgr.h"
#include "res/res_mgr.h"

namespace TSEG {

class CPUSingleton;

// Touches one byte in every 4096 of `size` bytes and tells on standard output each 128 MiB, `path` with it. The sum of the bytes. With
// `mapping`, which the bytes are of, they do not stay in the memory of this process, only in the system's cache.
struct PreloadResult {
  int32_t checkSum = 0;
  uint32_t nPages = 0;
};
PreloadResult PreloadPages(const void* data, uint64_t size, const char* path, const platform::FileMapping* mapping = nullptr);

class ResLoader {
 public:
  explicit ResLoader(IRes_mgr* manager) : manager_(manager) {}
  virtual ~ResLoader() = default;
  ResLoader(const ResLoader&) = delete;
  ResLoader& operator=(const ResLoader&) = delete;

  // Fills `res` from `length` bytes, which nothing refers to afterwards. 0 or a ResMgrError.
  virtual int load(IRes* res, const void* data, uint64_t length, const WREC_RES_SET& key, IRes* const* deps, int nDeps) = 0;
  // The same from a file: maps it, touches its pages, labels the resource and loads from memory.
  virtual int load(IRes* res, const char* path, const WREC_RES_SET& key, IRes* const* deps, int nDeps);
  // Releases everything that the resource owns, then the resource. Null is let pass.
  virtual void Delete(IRes* res) = 0;
  // Makes the empty holder.
  virtual IRes* CreateRes(const WREC_RES_SET& key, const char* path) = 0;
  // Whether a resource keeps the file mapped after a successful load.
  virtual bool KeepMapping() { return false; }

  // Labels the resource and loads it from memory. A label is type and number, or with the manager's leave the MD5 of the bytes. That of a
  // file takes longer than all else in a load, and next to nobody asks: it is made of the file when it is asked for, and if the file has
  // changed by then the label is type and number.
  int LoadLabelled(IRes* res, const void* data, uint64_t length, const WREC_RES_SET& key, IRes* const* deps, int nDeps);
  void SetConfiguration(const CFG_RESMGR* cfg) { cfg_ = cfg; }

 protected:
  bool LabelsByMd5() const { return cfg_ == nullptr || cfg_->is_calc_md5; }
  const CFG_RESMGR* cfg_ = nullptr;                 // the manager's values
  const platform::FileMapping* mapping_ = nullptr;  // that of the file being loaded, if it is one
  const CPUSingleton* device_ = nullptr;  // the device of the process, once the manager's way has asked for it; it chooses log lines
  IRes_mgr* const manager_;
};

class ResLoader_Ftr : public ResLoader {
 public:
  using ResLoader::load;
  explicit ResLoader_Ftr(IRes_mgr* manager) : ResLoader(manager) {}
  int load(IRes* res, const void* data, uint64_t length, const WREC_RES_SET& key, IRes* const* deps, int nDeps) override;
  void Delete(IRes* res) override;
  IRes* CreateRes(const WREC_RES_SET& key, const char* path) override;

 private:
  int LoadContainer(const ByteView& file, uint16_t sections, HMMResourceLink* link);
  int LoadPlain(const ByteView& file, HMMResourceLink* link);
  int MLPResourceAddM(const ByteView& section);
};

}  // namespace TSEG

#endif  // WVAD_RES_RES_LOADER_H_
