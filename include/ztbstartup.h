// SPDX-License-Identifier: MIT
#ifndef ZTBSTARTUP_H
#define ZTBSTARTUP_H

#include "ztbdefs.h"
#include "ztbstring.h"

ZTB_API int ztbStartup(char const** errorMessage);
ZTB_API int ztbStartupAddConfigFile(char const* path, char const** errorMessage);
ZTB_API int ztbStartupAddOption(char const* name, char const* value, char const** errorMessage);
ZTB_API void ztbStartupSetUserPath(char const* path);
ZTB_API char const* ztbStartupGetUserPath();
ZTB_API ZtbString ztbStartupGetOptionOrigin(ZtbString const& key);

#endif
