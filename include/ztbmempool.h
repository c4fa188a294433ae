// SPDX-License-Identifier: MIT
#ifndef ZTBMEMPOOL_H
#define ZTBMEMPOOL_H

#include "ztbdefs.h"

class ZTB_API ZtbMemPool {
 public:
  static bool getBytes(unsigned int size, void** result);
  static void freeBytes(void* block);
  static char* getStats();
};

#endif
