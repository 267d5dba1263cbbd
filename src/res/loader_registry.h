// SPDX-License-Identifier: Apache-2.0
//
// LoaderRegistry: which category of resource is loaded by what, for the whole process, and the resources shared by label.
//
// Built at first use, swept at exit. Register before loading: nothing here takes a lock.
#ifndef WVAD_RES_LOADER_REGISTRY_H_
#define WVAD_RES_LOADER_REGISTRY_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "res/res_loader.h"

namespace TSEG {

constexpr int kCategoryMlp = 4;
constexpr int kCategoryWfst = 5;
constexpr int kCategoryLm = 6;
constexpr int kCategoryOrvafst = 15;

// The number of the category `name`, 0 to 32, or nothing.
std::optional<int> ResCategory(std::string_view name);

// Makes loaders of one kind.
class ResLoaderCreater {  // (sic)
 public:
  virtual ~ResLoaderCreater() = default;
  virtual std::unique_ptr<ResLoader> create(IRes_mgr* manager) = 0;
};

template <class Loader>
class ConcreateResLoaderCreate : public ResLoaderCreater {  // (sic)
 public:
  std::unique_ptr<ResLoader> create(IRes_mgr* manager) override { return std::make_unique<Loader>(manager); }
};

class LoaderRegistry {
 public:
  static LoaderRegistry& instance();
  LoaderRegistry() = default;
  // Releases each shared resource through a fresh loader of its category.
  ~LoaderRegistry();
  LoaderRegistry(const LoaderRegistry&) = delete;
  LoaderRegistry& operator=(const LoaderRegistry&) = delete;

  // The creator of `category`, or null.
  ResLoaderCreater* find(int category) const;
  void set(int category, std::unique_ptr<ResLoaderCreater> creator) { creators_[category] = std::move(creator); }
  // Resources by label. The registry owns what is put in.
  IRes* find_shared(const std::string& label) const;
  void share(const std::string& label, IRes* res) { shared_[label] = res; }

 private:
  std::map<int, std::unique_ptr<ResLoaderCreater>> creators_;
  std::map<std::string, IRes*> shared_;
};

}  // namespace TSEG

#endif  // WVAD_RES_LOADER_REGISTRY_H_
