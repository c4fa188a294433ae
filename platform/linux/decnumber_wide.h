// SPDX-License-Identifier: MIT
//
// Unsigned integers of a fixed number of 64-bit words, for the coefficients of decimal numbers and
// for what stands between two of them. Nothing is checked: callers see to it that results fit.

#ifndef DECNUMBER_WIDE_H
#define DECNUMBER_WIDE_H

#include <bit>

namespace decnumber {

using Word = unsigned long long;
__extension__ using DoubleWord = unsigned __int128;

// The least significant word comes first.
template <int N>
struct Wide {
  Word w[N];
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

template <int N>
constexpr bool isLess(Wide<N> const& a, Wide<N> const& b) {
  for (int i = N - 1; i > 0; --i) {
    if (a.w[i] != b.w[i]) return a.w[i] < b.w[i];
  }
  return a.w[0] < b.w[0];
}

// -1, 0 or 1.
template <int N>
constexpr int order(Wide<N> const& a, Wide<N> const& b) {
  if (isLess(a, b)) return -1;
  return isLess(b, a) ? 1 : 0;
}

template <int N>
constexpr int bitLength(Wide<N> const& value) {
  for (int i = N - 1; i >= 0; --i) {
    if (value.w[i] != 0) return 64 * (i + 1) - std::countl_zero(value.w[i]);
  }
  return 0;
}

// a += b; gives the carry.
template <int N>
constexpr Word add(Wide<N>& a, Wide<N> const& b) {
  Word carry = 0;
  for (int i = 0; i < N; ++i) {
    DoubleWord const sum = static_cast<DoubleWord>(a.w[i]) + b.w[i] + carry;
    a.w[i] = low(sum);
    carry = high(sum);
  }
  return carry;
}

template <int N>
constexpr void increment(Wide<N>& a) {
  for (int i = 0; i < N && ++a.w[i] == 0; ++i) {
  }
}

// a -= b; gives the borrow.
template <int N>
constexpr Word subtract(Wide<N>& a, Wide<N> const& b) {
  Word borrow = 0;
  for (int i = 0; i < N; ++i) {
    DoubleWord const difference = static_cast<DoubleWord>(a.w[i]) - b.w[i] - borrow;
    a.w[i] = low(difference);
    borrow = high(difference) & 1;
  }
  return borrow;
}

// a = -a, modulo 2 to the power 64 N.
template <int N>
constexpr void negate(Wide<N>& a) {
  for (int i = 0; i < N; ++i) a.w[i] = ~a.w[i];
  increment(a);
}

// The lowest N words of the product.
template <int N, int A, int B>
constexpr Wide<N> multiplyLow(Wide<A> const& a, Wide<B> const& b) {
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

// The N words that start at bit `bits` of the value.
template <int N, int M>
constexpr Wide<N> shiftRight(Wide<M> const& value, int bits) {
  int const words = bits / 64;
  int const rest = bits % 64;
  Wide<N> result{};
  for (int i = 0; i < N && i + words < M; ++i) {
    Word const upper = i + words + 1 < M ? value.w[i + words + 1] : 0;
    result.w[i] = low(join(upper, value.w[i + words]) >> rest);
  }
  return result;
}

template <int N>
constexpr Wide<N> shiftLeft(Wide<N> const& value, int bits) {
  int const words = bits / 64;
  int const rest = bits % 64;
  Wide<N> result{};
  for (int i = N - 1; i >= words; --i) {
    Word const lower = i > words ? value.w[i - words - 1] : 0;
    result.w[i] = high(join(value.w[i - words], lower) << rest);
  }
  return result;
}

}  // namespace decnumber

#endif
