// SPDX-License-Identifier: MIT
#ifndef ZTBINIT_H
#define ZTBINIT_H

#include "ztbdefs.h"

ZTB_API int ztbInitialize(char const* executablePath, char const** errorMessage);
ZTB_API void ztbRegisterShutdownHandler(void (*handler)(void*), void* argument);
ZTB_API void ztbShutdown(void);

#endif
