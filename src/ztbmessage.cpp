// SPDX-License-Identifier: MIT
//
// The link to the message database.

#include "ztbmessage.h"

#include <cstdarg>

#include "ztbmempool_p.h"
#include "ztbstring_p.h"
#include "ztmsg13.h"

// Texts live in the pool, so there are none while it is down; the database itself works any time.

ZtbString ztb_get_message(char const* source, int line, char const* group, int number, ...) {
  if (!ztbMemPoolIsUp()) return {};
  char text[ztmsg13_buffer_size];
  va_list arguments;
  va_start(arguments, number);
  ztmsg13_get_vmessage(source, line, group, number, text, arguments);
  va_end(arguments);
  return ztbOrNoMemoryText(ZtbString(text, false));
}

ZtbString ztb_get_fragment(int number, ...) {
  if (!ztbMemPoolIsUp()) return {};
  char text[ztmsg13_buffer_size];
  va_list arguments;
  va_start(arguments, number);
  ztmsg13_get_vfragment(number, text, arguments);
  va_end(arguments);
  return ztbOrNoMemoryText(ZtbString(text, false));
}
