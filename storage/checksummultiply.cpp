// The checksum's remainder by the processor's carry-less multiply.
//
// 16 bytes are one polynomial, the first byte its highest part. Moving them past n later bytes is a
// multiplication by x^(8n); modulo x^16 + 0xA001 that power has 16 bits, so the product of it and either half
// of the 16 bytes fits 16 bytes again, and nothing is reduced until the end, which is left to the tables.

#include "storage/checksum.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

namespace storage {

namespace {

constexpr uint32_t kWord = 16;           // bytes of one polynomial
constexpr uint32_t kStride = 4 * kWord;  // folded side by side, since a multiplication takes its time

// x^(8 * bytes) modulo x^16 + 0xA001.
constexpr uint16_t PowerOfX(uint32_t bytes) {
  uint32_t power = 1;
  for (; bytes > 0; --bytes) power = UpdateCRCValue(power & 0xFFFF, 0, kCrcPolynomial);
  return static_cast<uint16_t>(power);
}

[[gnu::target("pclmul,ssse3")]] __m128i Reverse(__m128i bytes) {
  return _mm_shuffle_epi8(bytes, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

[[gnu::target("pclmul,ssse3")]] __m128i Load(const uint8_t* bytes) {
  return Reverse(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

// Moves a polynomial past kBytes bytes and adds the one that stands there.
template <uint32_t kBytes>
[[gnu::target("pclmul,ssse3")]] __m128i Fold(__m128i word, __m128i onto) {
  constexpr uint32_t kHalf = kWord / 2;
  const __m128i powers = _mm_set_epi64x(PowerOfX(kBytes + kHalf), PowerOfX(kBytes));
  const __m128i low = _mm_clmulepi64_si128(word, powers, 0x00);
  const __m128i high = _mm_clmulepi64_si128(word, powers, 0x11);
  return _mm_xor_si128(onto, _mm_xor_si128(low, high));
}

}  // namespace

bool CanMultiply() {
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
}

[[gnu::target("pclmul,ssse3")]] uint16_t RemainderByMultiply(const uint8_t* bytes, uint32_t length) {
  __m128i sum = _mm_setzero_si128();
  if (length >= kStride) {
    // Four names and no array, so that they stay in registers: in memory they would cost time, and 32-bit
    // callers keep the stack aligned to 4 bytes only.
    __m128i a = sum, b = sum, c = sum, d = sum;
    for (; length >= kStride; length -= kStride, bytes += kStride) {
      a = Fold<kStride>(a, Load(bytes));
      b = Fold<kStride>(b, Load(bytes + kWord));
      c = Fold<kStride>(c, Load(bytes + 2 * kWord));
      d = Fold<kStride>(d, Load(bytes + 3 * kWord));
    }
    sum = Fold<kWord>(Fold<kWord>(Fold<kWord>(a, b), c), d);
  }
  for (; length >= kWord; length -= kWord, bytes += kWord) sum = Fold<kWord>(sum, Load(bytes));

  uint8_t last[kWord];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(last), Reverse(sum));
  return RemainderByTables(last, kWord);
}

}  // namespace storage

#else

namespace storage {

bool CanMultiply() {
  return false;
}

uint16_t RemainderByMultiply(const uint8_t* bytes, uint32_t length) {
  return RemainderByTables(bytes, length);
}

}  // namespace storage

#endif
