// SPDX-License-Identifier: MIT
//
// Codecs of the C library, for the encodings that ztschr12 has no codec of its own for.

#ifndef ZTSCHR12_ICONV_H
#define ZTSCHR12_ICONV_H

#include <memory>

#include "ztschr12_codec.h"

// Null if the system doesn't know `systemName`, or without memory.
std::unique_ptr<NpDecoder> np_iconv_decoder(char const* systemName);
std::unique_ptr<NpEncoder> np_iconv_encoder(char const* systemName);

#endif
