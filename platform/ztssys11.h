// SPDX-License-Identifier: MIT
//
// The system: environment, loadable modules, unique text, the locale's character set.

#ifndef ZTSSYS11_H
#define ZTSSYS11_H

struct NpModule;

int np_env_get(char const* name, char* buffer, unsigned size);
int np_env_set(char const* name, char const* value);
// Calls `visit` for each entry of the environment, as it stands ("NAME=value").
void np_env_walk(void (*visit)(void* context, char const* entry), void* context);

int np_lcinfo_charset(char* buffer, unsigned size);

int np_dso_mkfname(char const* name, char* buffer, unsigned size);
int np_dso_load(char const* path, int flags, NpModule** handle);
char const* np_dso_loaderr(NpModule* handle);
void* np_dso_getsym(NpModule* handle, char const* name);
void np_dso_unload(NpModule* handle);

void np_uniq_s64(char* buffer);

#endif
