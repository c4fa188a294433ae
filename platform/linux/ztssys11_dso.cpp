// SPDX-License-Identifier: MIT
//
// Loadable modules.

#include <dlfcn.h>

#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "ztssys11.h"
#include "ztssys11_env.h"

struct NpModule {
  void* library = nullptr;
  std::string reason;  // why there is no library
};

namespace {

int refuse(NpModule& module, char const* reason) {
  module.reason = reason;
  return np_dso_refused;
}

int loadInto(NpModule& module, char const* path, int flags) {
  // The system would give the running program for an empty path, and search for a bare name.
  if (path == nullptr || *path == '\0') return refuse(module, "The module has no path");
  if ((flags & ~np_dso_now) != 0) return refuse(module, "Unknown flags for loading a module");
  std::string const absolute = std::filesystem::absolute(path).string();
  int const binding = (flags & np_dso_now) != 0 ? RTLD_NOW : RTLD_LAZY;
  module.library = dlopen(absolute.c_str(), binding | RTLD_LOCAL);
  if (module.library != nullptr) return np_dso_loaded;
  char const* const reason = dlerror();
  return refuse(module, reason != nullptr ? reason : "The system gave no reason");
}

}  // namespace

int np_dso_mkfname(char const* name, char* buffer, unsigned size) {
  constexpr char kSuffix[] = ".so";
  npTextDeliver("", buffer, size);
  if (name == nullptr || *name == '\0' || buffer == nullptr) return 1;
  std::size_t const bytes = std::strlen(name);
  if (bytes + sizeof kSuffix > size) return 1;
  std::memcpy(buffer, name, bytes);
  std::memcpy(buffer + bytes, kSuffix, sizeof kSuffix);
  return 0;
}

int np_dso_installed(char const* fileName, char* buffer, unsigned size) {
  npTextDeliver("", buffer, size);
  Dl_info library;
  if (fileName == nullptr || *fileName == '\0') return 1;
  if (dladdr(reinterpret_cast<void const*>(&np_dso_installed), &library) == 0) return 1;
  try {
    std::filesystem::path const file = std::filesystem::canonical(library.dli_fname);
    std::filesystem::path const module = file.parent_path() / "ztbcpp31" / fileName;
    return npTextDeliver(module.c_str(), buffer, size) ? 0 : 1;
  } catch (std::exception const&) {  // no memory, or no such file from the current folder
    return 1;
  }
}

int np_dso_load(char const* path, int flags, NpModule** handle) {
  *handle = nullptr;
  std::unique_ptr<NpModule> module(new (std::nothrow) NpModule);
  if (module == nullptr) return np_dso_failed;
  int result = np_dso_failed;
  try {
    result = loadInto(*module, path, flags);
  } catch (std::exception const&) {  // no memory for a text, or no current folder
    return np_dso_failed;
  }
  *handle = module.release();
  return result;
}

char const* np_dso_loaderr(NpModule* handle) {
  return handle == nullptr || handle->library != nullptr ? nullptr : handle->reason.c_str();
}

void* np_dso_getsym(NpModule* handle, char const* name) {
  if (handle == nullptr || handle->library == nullptr || name == nullptr) return nullptr;
  return dlsym(handle->library, name);
}

void np_dso_unload(NpModule* handle) {
  if (handle == nullptr) return;
  if (handle->library != nullptr) dlclose(handle->library);
  delete handle;
}
