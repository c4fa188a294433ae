// SPDX-License-Identifier: MIT
//
// The message database.

#ifndef ZTMSG13_H
#define ZTMSG13_H

#include <cstdarg>

int ztmsg13_initialize(char const** errorText);
void ztmsg13_terminate();
int ztmsg13_get_fragment(int number, char* buffer);
int ztmsg13_get_vmessage(char const* source, int line, char const* group, int number, char* buffer,
                         va_list arguments);
int ztmsg13_get_vfragment(int number, char* buffer, va_list arguments);
int ztmsg13_util_printf(char* target, unsigned targetSize, char const* format, ...);

#endif
