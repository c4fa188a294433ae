// SPDX-License-Identifier: MIT
//
// The environment of the process.

#include "ztssys11_env.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "ztssys11.h"

namespace {

// Created at the first use and never destroyed, so that the environment can be read before `main`
// and while statics are destroyed.
std::atomic<ZtLock> theLock{nullptr};

bool isVariableName(char const* name) {
  return name != nullptr && *name != '\0' && std::strchr(name, '=') == nullptr;
}

// The entries of the environment one behind the other, each with its terminator.
std::string copyOfBlock() {
  ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);
  std::string block;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    block.append(*entry, std::strlen(*entry) + 1);
  }
  return block;
}

}  // namespace

ZtLock npEnvironmentLock() {
  return ztLockAtFirstUse(theLock, 1);
}

bool npTextDeliver(char const* text, char* buffer, unsigned size) {
  if (buffer == nullptr || size == 0) return false;
  std::size_t const bytes = std::strlen(text) + 1;
  bool const fits = bytes <= size;
  std::memcpy(buffer, fits ? text : "", fits ? bytes : 1);
  return fits;
}

int np_env_get(char const* name, char* buffer, unsigned size) {
  npTextDeliver("", buffer, size);
  if (!isVariableName(name)) return np_env_unset;
  ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);
  char const* const value = std::getenv(name);
  if (value == nullptr) return np_env_unset;
  return npTextDeliver(value, buffer, size) ? np_env_found : np_env_too_long;
}

int np_env_set(char const* name, char const* value) {
  if (!isVariableName(name)) return 1;
  ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kExclusive);
  return value == nullptr ? unsetenv(name) : setenv(name, value, 1);
}

int np_env_walk(void (*visit)(void* context, char const* entry), void* context) {
  std::string block;
  try {
    block = copyOfBlock();
  } catch (std::bad_alloc const&) {
    return 1;
  }
  char const* const end = block.data() + block.size();
  for (char const* entry = block.data(); entry < end; entry += std::strlen(entry) + 1) {
    visit(context, entry);
  }
  return 0;
}
