// MD5 is what the index lists, so its plain functions are the ones to use here.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "engines/bd/utils.h"

#include <openssl/md5.h>

#include <cstdio>
#include <utility>

#include "engines/result.h"
#include "engines/text_lines.h"

int QX_UTILS::md5sum(const char* file, char* out) {
  std::FILE* const stream = std::fopen(file, "re");
  if (stream == nullptr) return kFailed;
  // The chunks are small; fewer and larger reads behind them save a tenth.
  char buffer[64 * 1024];
  std::setvbuf(stream, buffer, _IOFBF, sizeof buffer);
  MD5_CTX context;
  MD5_Init(&context);
  unsigned char chunk[1024];
  for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, stream)) > 0;)
    MD5_Update(&context, chunk, n);
  unsigned char digest[MD5_DIGEST_LENGTH];
  MD5_Final(digest, &context);
  const bool read = std::ferror(stream) == 0;
  std::fclose(stream);
  if (!read) return kFailed;
  for (const unsigned char byte : digest) out += std::sprintf(out, "%02x", byte);
  return kDone;
}

std::string QX_UTILS::strtrim(std::string text) {
  return withoutLeadingBlanks(withoutTrailingBlanks(std::move(text)));
}

std::string QX_UTILS::strchop(std::string text) {
  return withoutLineEnd(std::move(text));
}
