// SPDX-License-Identifier: MIT
#pragma once

#include <openssl/sha.h>
#include <string>

/// The SHA-256 digest of `size` bytes, in lower-case hexadecimal digits.
inline std::string sha256(void const * bytes, std::size_t size)
{
   unsigned char digest[SHA256_DIGEST_LENGTH];
   SHA256(static_cast<unsigned char const *>(bytes), size, digest);
   std::string text;
   for (unsigned char const byte : digest)
      text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
   return text;
}
