// SPDX-License-Identifier: MIT
//
// Unsigned integers of a fixed number of 64-bit words, for the coefficients of decimal numbers and
// for what stands between two of them. Nothing is checked: callers see to it that results fit.

#ifndef DECNUMBER_WIDE_H
#define DECNUMBER_WIDE_H

#include <bit>
#include <concepts>
#include <type_traits>
#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace decnumber {

using Word = unsigned long long;
__extension__ using DoubleWord = unsigned __int128;

// The least significant word comes first. Copies go word by word: a copy in larger pieces would
// have to wait until words that were just stored have reached the cache.
template <int N>
struct Wide {
  Word w[N];

  constexpr Wide() : w{} {}
  template <std::integral... Words>
  requires(sizeof...(Words) == N) constexpr Wide(Words... words) : w{static_cast<Word>(words)...} {}
  constexpr Wide(Wide const& other) {
    for (int i = 0; i < N; ++i) w[i] = other.w[i];
  }
  constexpr Wide& operator=(Wide const& other) {
    for (int i = 0; i < N; ++i) w[i] = other.w[i];
    return *this;
  }
};

constexpr Word low(DoubleWord value) {
  return static_cast<Word>(value);
}
constexpr Word high(DoubleWord value) {
  return static_cast<Word>(value >> 64);
}
constexpr DoubleWord times(Word a, Word b) {
  return static_cast<DoubleWord>(a) * b;
}
constexpr DoubleWord join(Word upper, Word lower) {
  return (static_cast<DoubleWord>(upper) << 64) | lower;
}

// The value in N words: filled with zeros, or cut.
template <int N, int M>
constexpr Wide<N> resize(Wide<M> const& value) {
  Wide<N> result{};
  for (int i = 0; i < (N < M ? N : M); ++i) result.w[i] = value.w[i];
  return result;
}

template <int N>
constexpr bool isZero(Wide<N> const& value) {
  Word any = 0;
  for (int i = 0; i < N; ++i) any |= value.w[i];
  return any == 0;
}

// Bits without leading zeros; 1 for zero.
template <int N>
constexpr int bitLength(Wide<N> const& value) {
  Word head = value.w[0];
  int bits = 64;
  for (int i = 1; i < N; ++i) {
    bits = value.w[i] != 0 ? 64 * (i + 1) : bits;
    head = value.w[i] != 0 ? value.w[i] : head;
  }
  return bits - std::countl_zero(head | 1);
}

// a + b + carry, and the new carry; a - b - borrow, and the new borrow.
constexpr Word addWord(Word a, Word b, unsigned char& carry) {
#ifdef __x86_64__
  if (!std::is_constant_evaluated()) {
    Word sum;
    carry = _addcarry_u64(carry, a, b, &sum);
    return sum;
  }
#endif
  DoubleWord const sum = static_cast<DoubleWord>(a) + b + carry;
  carry = static_cast<unsigned char>(high(sum));
  return low(sum);
}
constexpr Word subtractWord(Word a, Word b, unsigned char& borrow) {
#ifdef __x86_64__
  if (!std::is_constant_evaluated()) {
    Word difference;
    borrow = _subborrow_u64(borrow, a, b, &difference);
    return difference;
  }
#endif
  DoubleWord const difference = static_cast<DoubleWord>(a) - b - borrow;
  borrow = static_cast<unsigned char>(high(difference) & 1);
  return low(difference);
}

// a += b + carry; gives the new carry.
template <int N>
constexpr Word add(Wide<N>& a, Wide<N> const& b, Word carry = 0) {
  unsigned char flag = static_cast<unsigned char>(carry);
  for (int i = 0; i < N; ++i) a.w[i] = addWord(a.w[i], b.w[i], flag);
  return flag;
}

template <int N>
constexpr void increment(Wide<N>& a) {
  add(a, Wide<N>{}, 1);
}

// Every bit of `value` turned over where `mask`, all ones or all zeros, is one.
template <int N>
constexpr Wide<N> turned(Wide<N> const& value, Word mask) {
  Wide<N> result = value;
  for (int i = 0; i < N; ++i) result.w[i] ^= mask;
  return result;
}

// a -= b; gives the borrow.
template <int N>
constexpr Word subtract(Wide<N>& a, Wide<N> const& b) {
  unsigned char flag = 0;
  for (int i = 0; i < N; ++i) a.w[i] = subtractWord(a.w[i], b.w[i], flag);
  return flag;
}

template <int N>
constexpr bool isLess(Wide<N> a, Wide<N> const& b) {
  return subtract(a, b) != 0;
}

// -1, 0 or 1.
template <int N>
constexpr int order(Wide<N> a, Wide<N> const& b) {
  bool const isBelow = subtract(a, b) != 0;
  return static_cast<int>(!isBelow && !isZero(a)) - static_cast<int>(isBelow);
}

// The lowest N words of the product.
template <int N, int A, int B>
[[gnu::always_inline]] constexpr Wide<N> multiplyLow(Wide<A> const& a, Wide<B> const& b) {
  Wide<N> result{};
  for (int i = 0; i < A; ++i) {
    Word carry = 0;
    for (int j = 0; j < B && i + j < N; ++j) {
      DoubleWord const sum = times(a.w[i], b.w[j]) + result.w[i + j] + carry;
      result.w[i + j] = low(sum);
      carry = high(sum);
    }
    if (i + B < N) result.w[i + B] = carry;
  }
  return result;
}

template <int A, int B>
constexpr Wide<A + B> multiply(Wide<A> const& a, Wide<B> const& b) {
  return multiplyLow<A + B>(a, b);
}

// value = value * factor + addend; gives what doesn't fit.
template <int N>
constexpr Word multiplyAdd(Wide<N>& value, Word factor, Word addend) {
  for (int i = 0; i < N; ++i) {
    DoubleWord const sum = times(value.w[i], factor) + addend;
    value.w[i] = low(sum);
    addend = high(sum);
  }
  return addend;
}

// value /= divisor; gives the remainder.
template <int N>
constexpr Word divideBy(Wide<N>& value, Word divisor) {
  Word rest = 0;
  for (int i = N - 1; i >= 0; --i) {
    DoubleWord const dividend = join(rest, value.w[i]);
    value.w[i] = low(dividend / divisor);
    rest = low(dividend % divisor);
  }
  return rest;
}

// The lower word of upper:lower, shifted right by 0 to 63 bits.
constexpr Word shiftPair(Word upper, Word lower, int bits) {
  return lower >> bits | upper << 1 << (63 - bits);
}

// The N words that start at bit `bits` of the value.
template <int N, int M>
constexpr Wide<N> shiftRight(Wide<M> const& value, int bits) {
  int const words = bits / 64;
  Wide<N> result{};
  for (int i = 0; i < N && i + words < M; ++i) {
    Word const upper = i + words + 1 < M ? value.w[i + words + 1] : 0;
    result.w[i] = shiftPair(upper, value.w[i + words], bits % 64);
  }
  return result;
}

template <int N>
constexpr Wide<N> shiftLeft(Wide<N> const& value, int bits) {
  int const words = bits / 64;
  Wide<N> result{};
  for (int i = N - 1; i >= words; --i) {
    Word const lower = i > words ? value.w[i - words - 1] : 0;
    result.w[i] = value.w[i - words] << bits % 64 | lower >> 1 >> (63 - bits % 64);
  }
  return result;
}

}  // namespace decnumber

#endif
