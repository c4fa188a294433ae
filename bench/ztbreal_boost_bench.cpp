// SPDX-License-Identifier: MIT
//
// Boost.Multiprecision as the peer of decimal numbers that holds as many digits.

#ifdef ZTB_HAVE_BOOST

#include <boost/multiprecision/cpp_dec_float.hpp>

#include "ztbreal_bench.h"

namespace {

namespace mp = boost::multiprecision;

struct Boost {
  // Without expression templates: each operation is measured alone.
  using Value = mp::number<mp::cpp_dec_float<52>, mp::et_off>;
  static constexpr int kDigits = 52;

  static Value parse(std::string const& text) { return Value(text); }
  static std::string format(Value const& value) { return value.str(); }
  static double toDouble(Value const& value) { return value.convert_to<double>(); }
  static double toDouble(int value) { return value; }
  static Value add(Value const& a, Value const& b) { return a + b; }
  static Value subtract(Value const& a, Value const& b) { return a - b; }
  static Value multiply(Value const& a, Value const& b) { return a * b; }
  static Value divide(Value const& a, Value const& b) { return a / b; }
  static int compare(Value const& a, Value const& b) { return a.compare(b); }
  static Value sqrt(Value const& a, Value const&) { return mp::sqrt(a); }
  static void accumulate(Value& total, Value const& price) { total += price; }
};

[[maybe_unused]] bool const isRegistered = ztbreal_bench::addAll<Boost>("Boost_52_digits");

}  // namespace

#endif
