// The block checksum.
//
// UpdateCRCValue is the definition: a left-shifting 16-bit remainder (polynomial 0xA001) in a 32-bit
// accumulator that is never cut, so that its upper half remembers the bits that left the lower one.
// GetCRCValue gives the same value for every input, many bytes a step.
//
// Invariants the fast way rests on:
//  1. Only the low 16 bits of the accumulator decide what the next bytes do to it.
//  2. Four bytes later, nothing is left of the accumulator's upper half. So all but the last four bytes may
//     run on a 16-bit remainder alone.
//  3. That remainder is the bytes, read as one long polynomial, times x^16 modulo x^16 + 0xA001. So bytes far
//     from the end may be folded onto later ones: multiplied by the power of x that lies between, modulo the
//     same.
#pragma once

#include <cstdint>

namespace storage {

constexpr uint32_t kCrcPolynomial = 0xA001;

constexpr uint32_t UpdateCRCValue(uint32_t sum, uint8_t byte, uint32_t polynomial) {
  uint32_t data = uint32_t{byte} << 8;
  for (int i = 0; i < 8; ++i) {
    const bool carry = ((sum ^ data) & 0x8000) != 0;
    sum = carry ? (sum << 1) ^ polynomial : sum << 1;
    data <<= 1;
  }
  return sum;
}

uint32_t GetCRCValue(const uint8_t* bytes, uint32_t length);

// The ways to the 16-bit remainder of `length` bytes, at least 16; GetCRCValue takes the fastest one that the
// processor has.
uint16_t RemainderByTables(const uint8_t* bytes, uint32_t length);
uint16_t RemainderByMultiply(const uint8_t* bytes, uint32_t length);      // needs CanMultiply()
uint16_t RemainderByWideMultiply(const uint8_t* bytes, uint32_t length);  // needs CanMultiplyWide()

// Whether the processor multiplies polynomials, one at a time or two.
bool CanMultiply();
bool CanMultiplyWide();

}  // namespace storage
