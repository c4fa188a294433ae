// SPDX-License-Identifier: MIT
//
// What counts as a digit and as white space in numbers and dates: ASCII alone, under every locale.

#ifndef ZTSSTR12_ASCII_H
#define ZTSSTR12_ASCII_H

namespace ztsstr12 {

inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

inline bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace ztsstr12

#endif
