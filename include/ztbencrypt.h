// SPDX-License-Identifier: MIT
//
// The protected form of a text: what must not be read or changed by others goes into it, and comes
// out of it again, if it wasn't touched.
//
// The form is one line of base64 characters, without line ends, of authenticated encryption
// (XChaCha20-Poly1305, as libsodium's secret stream). It grows by half of the text and more for
// short ones: 56 characters for none, 72 for 13 bytes, 72 more for each further 37. The same text
// has a different form each time.
//
// The key is in the file that the environment variable ZTB_KEY_FILE names: 64 hexadecimal digits,
// readable and writable by its owner only.
//
//   (umask 077; od -An -vtx1 -N32 /dev/urandom | tr -d ' \n' > suite.key)
//
// Without the variable, or with an empty one, a key is used that every copy of this library has:
// that keeps a text from being read over someone's shoulder, and protects it from nobody who wants
// to know.
//
// Both functions treat a null string as the empty text, report no failure, and may run in any
// number of threads at once. The texts themselves lie in ordinary memory.

#ifndef ZTBENCRYPT_H
#define ZTBENCRYPT_H

#include "ztbdefs.h"
#include "ztbstring.h"

// The protected form of `text`, up to its terminator. Null if there is no memory or the key file
// can't be used (it is missing, others may use it, it holds no key); nothing is protected with the
// known key then. A log record of "ZT.Base.Encrypt" tells the reason.
ZTB_API ZtbString ztbEncryptString(ZtbString const& text);

// The text from its protected form. What was changed, is cut off, comes from elsewhere or is under
// another key gives the text up to the first line that isn't authentic, and nothing behind it: the
// empty text if that is the first one, or if the key file can't be used. Null only without memory.
ZTB_API ZtbString ztbDecryptString(ZtbString const& text);

#endif
