// The checksum's remainder by the processor's carry-less multiply.
//
// 16 bytes are one polynomial, the first byte its highest part. Moving them past n later bytes is a
// multiplication by x^(8n); modulo x^16 + 0xA001 that power has 16 bits, so the product of it and either half
// of the 16 bytes fits 16 bytes again, and nothing is reduced until the end, which is left to the tables.

#include "storage/checksum.h"

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))

#include <immintrin.h>

namespace storage {

namespace {

constexpr uint32_t kWord = 16;         // bytes of one polynomial
constexpr uint32_t kWide = 2 * kWord;  // of what newer processors multiply at once
constexpr uint32_t kLanes = 4;         // folded side by side, since a multiplication takes its time

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
  const __m128i powers = _mm_set_epi64x(PowerOfX(kBytes + kWord / 2), PowerOfX(kBytes));
  const __m128i low = _mm_clmulepi64_si128(word, powers, 0x00);
  const __m128i high = _mm_clmulepi64_si128(word, powers, 0x11);
  return _mm_xor_si128(onto, _mm_xor_si128(low, high));
}

// The first `length` bytes, fewer than a word, behind zeros. Reads a word.
[[gnu::target("pclmul,ssse3")]] __m128i LoadHead(const uint8_t* bytes, uint32_t length) {
  constexpr int8_t kNone = -1;
  static const int8_t kPlaces[2 * kWord] = {15,    14,    13,    12,    11,    10,    9,     8,
                                            7,     6,     5,     4,     3,     2,     1,     0,
                                            kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone,
                                            kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone};
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)),
                          _mm_loadu_si128(reinterpret_cast<const __m128i*>(kPlaces + kWord - length)));
}

[[gnu::target("pclmul,ssse3")]] uint16_t Remainder(__m128i word) {
  uint8_t bytes[kWord];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), Reverse(word));
  return RemainderByTables(bytes, kWord);
}

// What follows on `sum`, word by word.
[[gnu::target("pclmul,ssse3")]] __m128i FoldWords(__m128i sum, const uint8_t* bytes, uint32_t length) {
  for (uint32_t at = 0; at < length; at += kWord) sum = Fold<kWord>(sum, Load(bytes + at));
  return sum;
}

// Both halves are as above, one polynomial behind the other.
[[gnu::target("vpclmulqdq,avx2")]] __m256i LoadWide(const uint8_t* bytes) {
  const __m256i reversed =
      _mm256_broadcastsi128_si256(_mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)), reversed);
}

template <uint32_t kBytes>
[[gnu::target("vpclmulqdq,avx2")]] __m256i FoldWide(__m256i words, __m256i onto) {
  const __m256i powers =
      _mm256_broadcastsi128_si256(_mm_set_epi64x(PowerOfX(kBytes + kWord / 2), PowerOfX(kBytes)));
  const __m256i low = _mm256_clmulepi64_epi128(words, powers, 0x00);
  const __m256i high = _mm256_clmulepi64_epi128(words, powers, 0x11);
  return _mm256_xor_si256(onto, _mm256_xor_si256(low, high));
}

// Both take a whole number of words. Four names and no array, so that they stay in registers: in memory they would cost
// time, and 32-bit callers keep the stack aligned to 4 bytes only.

[[gnu::target("pclmul,ssse3")]] uint16_t RemainderOfWords(__m128i sum, const uint8_t* bytes,
                                                          uint32_t length) {
  constexpr uint32_t kStride = kLanes * kWord;
  if (length >= kStride) {
    __m128i a = _mm_setzero_si128(), b = a, c = a, d = sum;
    for (; length >= kStride; length -= kStride, bytes += kStride) {
      a = Fold<kStride>(a, Load(bytes));
      b = Fold<kStride>(b, Load(bytes + kWord));
      c = Fold<kStride>(c, Load(bytes + 2 * kWord));
      d = Fold<kStride>(d, Load(bytes + 3 * kWord));
    }
    sum = Fold<kWord>(Fold<kWord>(Fold<kWord>(a, b), c), d);
  }
  return Remainder(FoldWords(sum, bytes, length));
}

[[gnu::target("vpclmulqdq,avx2,pclmul")]] uint16_t RemainderOfWide(__m128i sum, const uint8_t* bytes,
                                                                   uint32_t length) {
  constexpr uint32_t kStride = kLanes * kWide;
  const __m256i zero = _mm256_setzero_si256();
  __m256i a = zero, b = zero, c = zero, d = _mm256_inserti128_si256(zero, sum, 1);
  for (; length >= kStride; length -= kStride, bytes += kStride) {
    a = FoldWide<kStride>(a, LoadWide(bytes));
    b = FoldWide<kStride>(b, LoadWide(bytes + kWide));
    c = FoldWide<kStride>(c, LoadWide(bytes + 2 * kWide));
    d = FoldWide<kStride>(d, LoadWide(bytes + 3 * kWide));
  }
  d = FoldWide<kWide>(FoldWide<kWide>(FoldWide<kWide>(a, b), c), d);
  for (; length >= kWide; length -= kWide, bytes += kWide) d = FoldWide<kWide>(d, LoadWide(bytes));
  sum = Fold<kWord>(_mm256_castsi256_si128(d), _mm256_extracti128_si256(d, 1));
  return Remainder(FoldWords(sum, bytes, length));
}

}  // namespace

bool CanMultiply() {
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
}

bool CanMultiplyWide() {
  return CanMultiply() && __builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("avx2");
}

[[gnu::target("pclmul,ssse3")]] uint16_t RemainderByMultiply(const uint8_t* bytes, uint32_t length) {
  const uint32_t head = length % kWord;
  return RemainderOfWords(LoadHead(bytes, head), bytes + head, length - head);
}

[[gnu::target("pclmul,ssse3")]] uint16_t RemainderByWideMultiply(const uint8_t* bytes, uint32_t length) {
  const uint32_t head = length % kWord;
  return RemainderOfWide(LoadHead(bytes, head), bytes + head, length - head);
}

}  // namespace storage

#else

namespace storage {

bool CanMultiply() {
  return false;
}

bool CanMultiplyWide() {
  return false;
}

uint16_t RemainderByMultiply(const uint8_t* bytes, uint32_t length) {
  return RemainderByTables(bytes, length);
}

uint16_t RemainderByWideMultiply(const uint8_t* bytes, uint32_t length) {
  return RemainderByTables(bytes, length);
}

}  // namespace storage

#endif
