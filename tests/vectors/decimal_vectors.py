#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes test vectors for the 52-digit decimals of platform/decnumber.h.

Python's decimal module is the oracle: it knows nothing of our code. The same count and seed give
the same lines, so that

    decimal_vectors.py > decimal.txt

is what is checked in. One case a line, its fields separated by one blank:

    operation mode operand... result status

`mode` is the number of the rounding mode, `status` the status bits in hexadecimal. A decimal is
spelled by its coefficient and exponent, 150E-2, so that the quantum shows; a double as the shortest
text that reads back. A field that is only a quotation mark repeats that of the line before.

What Python leaves open or does in another way is settled here:
- Its flags fold all that is invalid into one; the conditions that a trap names are told apart.
- A remainder by zero is invalid, and division undefined for 0 by 0, as there.
- A signaling NaN as the third operand of fma is told even where 0 times infinity comes first:
  Python gives the NaN without payload then.
- In the text syntax Python takes blanks, underscores and digits of all scripts; the syntax here is
  that of the General Decimal Arithmetic, and checked by an expression of its own.
- Replacing an exponent, conversions to integers and from doubles aren't in the arithmetic: an
  infinity or a NaN keeps its form when its exponent is replaced, an integer that can't be given is
  invalid and 0, and a double is its shortest decimal without trailing zeros.
"""

import argparse
import decimal
import itertools
import random
import re
import struct
import sys
from decimal import Decimal

DIGITS = 52
TINY = -98354  # the least exponent of a coefficient
TOP = 98253  # the largest

MODES = [decimal.ROUND_CEILING, decimal.ROUND_UP, decimal.ROUND_HALF_UP, decimal.ROUND_HALF_EVEN,
         decimal.ROUND_HALF_DOWN, decimal.ROUND_DOWN, decimal.ROUND_FLOOR, decimal.ROUND_05UP]
HALF_EVEN = 3

STATUS = {decimal.DivisionByZero: 0x2, decimal.Inexact: 0x20, decimal.InvalidOperation: 0x80,
          decimal.Overflow: 0x200, decimal.Clamped: 0x400, decimal.Rounded: 0x800,
          decimal.Subnormal: 0x1000, decimal.Underflow: 0x2000}
# As a trap names them; the module keeps no public classes for them.
INVALID = {'ConversionSyntax': 0x1, 'DivisionImpossible': 0x4, 'DivisionUndefined': 0x8}

CONTEXT = decimal.Context(prec=DIGITS, Emax=98304, Emin=-98303, clamp=1, traps=[])
TRAPPING = decimal.Context(prec=DIGITS, Emax=98304, Emin=-98303, clamp=1,
                           traps=[decimal.InvalidOperation])
EXACT = decimal.Context(prec=decimal.MAX_PREC, Emax=decimal.MAX_EMAX, Emin=decimal.MIN_EMIN)

SYNTAX = re.compile(r'[+-]?(([0-9]+(\.[0-9]*)?|\.[0-9]+)(e[+-]?[0-9]+)?|inf(inity)?'
                    r'|s?nan0*[0-9]{0,51})', re.IGNORECASE)


# --- the oracle ---------------------------------------------------------------------------------

def spell(value):
    """A decimal by coefficient and exponent; anything else as Python writes it."""
    if not isinstance(value, Decimal):
        return str(value)
    sign, digits, exponent = value.as_tuple()
    text = '-' if sign else ''
    if exponent == 'F':
        return text + 'Inf'
    coefficient = ''.join(map(str, digits))
    if isinstance(exponent, str):
        return text + ('NaN' if exponent == 'n' else 'sNaN') + coefficient
    return text + coefficient + (f'E{exponent}' if exponent else '')


def status_of(operate):
    status = sum(STATUS.get(signal, 0) for signal, is_set in CONTEXT.flags.items() if is_set)
    if not status & 0x80:
        return status
    TRAPPING.rounding = CONTEXT.rounding
    try:
        operate(TRAPPING)
    except decimal.InvalidOperation as error:
        bits = [INVALID.get(condition.__name__, 0x80) for condition in error.args[0]]
        return status & ~0x80 | sum(set(bits))
    raise AssertionError('invalid in one context only')


def arithmetic(name):
    def apply(operands):
        def operate(context):
            return getattr(context, name)(*operands)
        return operate(CONTEXT), status_of(operate)
    return apply


def fma(operands):
    signaling = [x for x in operands if x.is_snan()]
    if signaling:
        return CONTEXT.plus(signaling[0]), 0x80
    return arithmetic('fma')(operands)


def to_integral(operands):
    value = operands[0].to_integral_value(CONTEXT.rounding, CONTEXT)
    return value, 0x80 if operands[0].is_snan() else 0


def from_text(operands):
    if not SYNTAX.fullmatch(operands[0]):
        return Decimal('NaN'), 0x1
    return arithmetic('create_decimal')(operands)


def set_exponent(operands):
    value, exponent = operands
    if not value.is_finite():
        return value, 0
    sign, digits, _ = value.as_tuple()
    exact = Decimal((sign, digits, exponent))
    return arithmetic('create_decimal')([exact])


def to_integer(low, high):
    def apply(operands):
        operand = operands[0]
        if operand.is_finite() and (operand.adjusted() < 30 or not operand):
            value = int(operand.to_integral_value(CONTEXT.rounding, EXACT))
            if low <= value <= high:
                return value, 0
        return 0, 0x80
    return apply


def to_double(operands):
    return (float('nan') if operands[0].is_nan() else float(operands[0])), 0


def from_double(operands):
    return EXACT.normalize(Decimal(repr(operands[0]))), 0


# --- operands -----------------------------------------------------------------------------------

class Operands:
    """Random operands. All sizes are small or at a limit more often than between."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.pick = self.random.choice
        self.within = self.random.randint

    def chance(self, probability):
        return self.random.random() < probability

    def length(self, most=DIGITS):
        x = self.random.random()
        if x < .5:
            return self.within(1, min(4, most))
        return most if x > .9 else self.within(1, most)

    def of_length(self, length):
        return self.within(10 ** (length - 1), 10 ** length - 1)

    def coefficient(self, most=DIGITS):
        length = self.length(most)
        x = self.random.random()
        if x < .70:
            return self.of_length(length)
        if x < .76:
            return 10 ** length - 1 - (self.within(0, 9) if self.chance(.5) else 0)
        if x < .82:
            return self.within(1, 9) * 10 ** (length - 1) + self.pick((0, 0, 1))
        if x < .86:  # around the limits of machine words
            word = 2 ** self.pick((31, 32, 63, 64, 65, 96, 127, 128, 129, 160, 172))
            return min(word + self.within(-2, 2), 10 ** most - 1)
        if x < .90:  # words of few ones or few zeros
            value = 0
            for _ in range(3):
                value = value << 64 | self.pick((0, 1, 2 ** 63, 2 ** 64 - 1, 2 ** 64 - 2,
                                                 self.within(0, 2 ** 64 - 1)))
            return max(value >> self.within(192 - most * 33219 // 10000, 190), 1)
        zeros = self.within(0, length - 1)
        return self.of_length(length - zeros) * 10 ** zeros

    def exponent(self):
        x = self.random.random()
        if x < .5:
            return self.within(-9, 9)
        if x < .8:
            return self.within(-60, 60)
        return self.within(TOP - 60, TOP) if x < .9 else self.within(TINY, TINY + 60)

    def sign(self):
        return self.pick((1, 1, -1))

    def make(self, coefficient, exponent):
        """A decimal that the format can hold: rounded and clamped to it if need be."""
        CONTEXT.rounding = MODES[HALF_EVEN]
        text = f'{coefficient}E{exponent}'
        return CONTEXT.create_decimal(text)

    def special(self):
        if self.chance(.45):
            return self.make(self.pick(('0', '-0')), self.exponent())
        payload = str(self.coefficient(51)) if self.chance(.6) else ''
        name = self.pick(('Inf', 'Inf', 'NaN' + payload, 'sNaN' + payload))
        return Decimal(self.pick(('', '-')) + name)

    def finite(self, most=DIGITS):
        return self.make(self.sign() * self.coefficient(most), self.exponent())

    def number(self, most=DIGITS):
        return self.special() if self.chance(.05) else self.finite(most)

    def tail(self, length):
        """`length` digits to be rounded away: a tie, or next to one, or next to nothing."""
        half = 5 * 10 ** (length - 1)
        return min(self.pick((half, half, half, half - 1, half + 1, 0, 1, 10 ** length - 1,
                              self.within(0, 10 ** length - 1))), 10 ** length - 1)

    def tied(self, kept, dropped):
        """`kept` digits, the last even, odd or all nines, with a tail of `dropped` digits."""
        head = 10 ** kept - 1 if self.chance(.2) else self.of_length(kept) if kept else 0
        return head * 10 ** dropped + self.tail(dropped)


# --- operands of each operation -------------------------------------------------------------------

def any_pair(o):
    return [o.number(), o.number()]


def sum_pair(o):
    x = o.random.random()
    if x < .15:
        return any_pair(o)
    exponent = o.exponent()
    if x < .40:  # all overlaps, to far beyond the digits
        gap = o.within(-110, 110)
        return [o.make(o.sign() * o.coefficient(), exponent),
                o.make(o.sign() * o.coefficient(), exponent + gap)]
    if x < .60:  # the second decides the rounding of the first
        shift = o.within(1, 60)
        left = 10 ** DIGITS - 1 if o.chance(.2) else o.of_length(DIGITS)
        return [o.make(o.sign() * left, exponent),
                o.make(o.sign() * o.tail(min(shift, DIGITS)), exponent - shift)]
    if x < .75:  # a power of ten loses a digit to the smaller term
        shift = o.within(1, 60)
        return [o.make(o.sign() * 10 ** o.within(0, DIGITS - 1), exponent),
                o.make(-o.sign() * o.tail(o.within(1, DIGITS)), exponent - shift)]
    if x < .90:  # cancellation
        zeros = o.within(0, 20)
        left = o.coefficient(DIGITS - zeros)
        right = left * 10 ** zeros + o.pick((0, 0, 1, -1, o.within(-999, 999)))
        return [o.make(left, exponent), o.make(-right, exponent - zeros)]
    zero = o.make(o.pick(('0', '-0')), exponent + o.within(-110, 110))
    return o.pick(([zero, o.make(o.sign() * o.coefficient(), exponent)],
                   [o.make(o.sign() * o.coefficient(), exponent), zero],
                   [zero, o.make(o.pick(('0', '-0')), o.exponent())]))


def odd(o, length):
    return o.of_length(length) | 1


def exponents_to_limit(o, digits):
    """Two exponents whose sum is near an end of the range, for a coefficient of so many digits."""
    total = o.pick((TINY - digits, TINY, TOP, TOP + DIGITS)) + o.within(-4, 60)
    first = max(TINY, min(TOP, total // 2 + o.within(-40000, 40000)))
    return first, max(TINY, min(TOP, total - first))


def product_pair(o):
    x = o.random.random()
    if x < .3:
        return any_pair(o)
    if x < .6:  # exactly a half behind the last digit
        dropped = o.within(1, 46)
        length = o.within(dropped * 7 // 10 + 2, 51 - dropped * 3 // 10)
        left = 2 ** (dropped - 1) * odd(o, length) * o.sign()
        right = 5 ** dropped * odd(o, 53 - length)
        return [o.make(left, o.exponent()), o.make(right, o.within(-9, 9))]
    if x < .75:  # a subnormal tie
        dropped = o.within(1, 40)
        first = o.within(TINY, 0)
        return [o.make(o.sign() * o.tied(o.within(0, DIGITS - dropped), dropped), first),
                o.make(1, TINY - dropped - first)]
    left, right = o.sign() * o.coefficient(), o.sign() * o.coefficient()
    first, second = exponents_to_limit(o, len(str(left * right)))
    return [o.make(left, first), o.make(right, second)]


def next_to_half(o):
    """A product next to a half or the whole of the last digit of the third operand: what tells
    them apart is more than 54 digits behind."""
    length = o.within(20, DIGITS)
    near = o.pick((5, 10)) * 10 ** (length + 50)
    for _ in range(400):
        left = o.of_length(length)
        right = near // left + o.within(0, 1)
        if abs(left * right - near) < 10 ** (length - 2):
            break
    exponent = o.within(-60, 60)
    return [o.make(left, exponent), o.make(right * o.sign(), 0),
            o.make(o.of_length(DIGITS) * o.sign(), exponent + length + 51)]


def fma_triple(o):
    x = o.random.random()
    if x < .15:
        return [o.number(), o.number(), o.number()]
    left, right = product_pair(o)
    if not (left.is_finite() and right.is_finite() and left and right):
        return [left, right, o.number()]
    product = EXACT.multiply(left, right)
    sign, digits, exponent = product.as_tuple()
    if x < .45:  # all overlaps with the product
        gap = o.within(-60, len(digits) + 60)
        return [left, right, o.make(o.sign() * o.coefficient(), exponent + gap)]
    if x < .65:  # cancellation of its first digits, or of all
        CONTEXT.rounding = o.pick(MODES)
        near = CONTEXT.minus(product)
        wobble = o.pick((0, 0, 1, -1))
        sign, digits, exponent = near.as_tuple() if near.is_finite() else (0, (1,), 0)
        near = int(''.join(map(str, digits))) + wobble
        return [left, right, o.make(-near if sign else near, exponent)]
    if x < .85:  # next to nothing beside it, or it beside the third
        far = o.pick((o.within(50, 170), o.within(50, 400))) * o.pick((1, -1)) + exponent
        third = o.pick((o.coefficient(), o.coefficient(2), o.of_length(DIGITS)))
        return [left, right, o.make(o.sign() * third, far)]
    if x < .9:
        return next_to_half(o)
    return [left, right, o.make(o.pick(('0', '-0')), exponent + o.within(-110, 110))]


def quotient_pair(o):
    x = o.random.random()
    if x < .3:
        return any_pair(o)
    if x < .6:  # a power of two below leaves a half behind the last digit, or ends before
        power = o.within(1, 75)
        length = max(1, min(53 + o.pick((0, 0, 0, -1, 1)) - power * 7 // 10, 51))
        factor = o.coefficient(max(1, 51 - max(length, power * 31 // 100 + 1)))
        return [o.make(o.sign() * odd(o, length) * factor, o.exponent()),
                o.make(2 ** power * factor, o.within(-9, 9))]
    if x < .8:  # exact
        length = o.within(1, 51)
        right = o.coefficient(DIGITS - length)
        left = right * o.coefficient(length)
        return [o.make(o.sign() * left, o.exponent()),
                o.make(right * o.sign(), o.within(-60, 60))]
    first, second = exponents_to_limit(o, o.within(0, DIGITS))
    return [o.make(o.sign() * o.coefficient(), first),
            o.make(o.sign() * o.coefficient(), -second)]


def integer_quotient_pair(o):
    x = o.random.random()
    if x < .2:
        return any_pair(o)
    exponent = o.exponent()
    if x < .5:  # quotients of all lengths, also beyond the digits
        left, right = o.coefficient(), o.coefficient()
        wanted = o.pick((o.within(-2, 56), o.within(50, 54)))
        gap = wanted - len(str(left)) + len(str(right))
        return [o.make(o.sign() * left, exponent + gap), o.make(o.sign() * right, exponent)]
    right = o.coefficient(30)  # an integer, or a half more or nearly so
    quotient, zeros = o.pick((0, 0, 1, o.coefficient(20))), o.pick((0, 0, o.within(0, 20)))
    half = 0
    if o.chance(.5):
        right *= 2
        half = right // 2
    left = (right * quotient + half) * 10 ** zeros + o.pick((0, 1, -1))
    return [o.make(o.sign() * left, exponent - zeros), o.make(o.sign() * right, exponent)]


def quantize_pair(o):
    x = o.random.random()
    if x < .15:
        return any_pair(o)
    exponent = o.exponent()
    if x < .75:
        dropped = o.within(1, 51)
        value = o.tied(o.length(DIGITS - dropped) - 1, dropped)
        return [o.make(o.sign() * value, exponent),
                o.make(o.coefficient(), exponent + dropped)]
    value = o.pick((o.coefficient(), 0))
    room = DIGITS - len(str(value))
    return [o.make(o.sign() * value, exponent),
            o.make(o.coefficient(), exponent - room + o.pick((0, -1, 1, o.within(-60, 60))))]


def compare_pair(o):
    if o.chance(.5):
        return sum_pair(o)
    zeros, value, exponent = o.within(0, 30), o.coefficient(22), o.exponent()
    wobble = o.pick((0, 0, 1))
    sign = o.sign()
    return [o.make(sign * value, exponent),
            o.make(sign * value * 10 ** zeros + wobble, exponent - zeros)]


def reducible(o):
    zeros = o.within(0, 51)
    value = o.sign() * o.coefficient(DIGITS - zeros) * 10 ** zeros
    return [o.number() if o.chance(.2) else o.make(value, o.exponent())]


def fraction(o):
    if o.chance(.15):
        return [o.number()]
    dropped = o.within(1, 51) if o.chance(.8) else o.within(50, 70)
    kept = o.length(max(1, DIGITS - dropped)) - o.within(0, 1)
    return [o.make(o.sign() * (o.tied(kept, dropped) if dropped < DIGITS else o.coefficient()),
                   -dropped)]


def square(o):
    x = o.random.random()
    if x < .25:
        return [o.number()]
    if x < .5:
        root = o.coefficient(26)
        return [o.make(root * root, o.exponent() * 2 if o.chance(.5) else o.exponent())]
    if x < .75:  # as near to the square of 52 digits, or of a half more, as 52 digits come
        root = o.coefficient() * 10 + o.pick((0, 5))
        value = o.make(root * root, o.exponent())
        return [value if o.chance(.5) else o.pick((value.next_minus, value.next_plus))(CONTEXT)]
    return [o.finite().copy_abs()]


def any_case(o, text):
    return ''.join(o.pick((c.upper(), c.lower())) for c in text)


def spelled(o, value, exponent):
    """One of the many texts for a number."""
    digits = '0' * o.pick((0, 0, 0, 1, 7)) + str(value)
    if o.chance(.6):
        point = o.within(0, len(digits))
        exponent += len(digits) - point
        digits = digits[:point] + '.' + digits[point:]
    mark = ''
    if exponent or o.chance(.3):
        mark = o.pick('eE') + (o.pick(('+', '')) if exponent >= 0 else '-') \
            + '0' * o.pick((0, 0, 2)) + str(abs(exponent))
    return o.pick(('', '', '+', '-')) + digits + mark


def text(o):
    x = o.random.random()
    if x < .3:
        result = spelled(o, o.coefficient(), o.exponent())
    elif x < .5:  # more digits than fit
        dropped = o.within(1, 70)
        result = spelled(o, o.tied(DIGITS, dropped), o.exponent())
    elif x < .6:  # subnormal, or next to overflow
        dropped = o.within(1, 60)
        kept, limit = o.pick(((o.within(0, DIGITS), TINY), (DIGITS, TOP + o.within(-1, 1))))
        result = spelled(o, o.tied(kept, dropped), limit - dropped)
    elif x < .7:  # out of range
        limit = o.pick((98304, 98305, 98355, 98356, 99999, 100000, 2 ** 31, 2 ** 32 + 3,
                        2 ** 63, 2 ** 64 + 7, o.of_length(o.within(6, 30))))
        result = spelled(o, o.pick((o.coefficient(), 0)), limit * o.pick((1, -1)))
    else:
        payload = str(o.coefficient(51))
        name = o.pick(('inf', 'infinity', 'nan', 'snan', 'nan' + payload, 'snan' + payload,
                       'nan' + '0' * 9 + payload, 'nan' + str(o.of_length(52))))
        result = o.pick(('', '+', '-')) + any_case(o, name)
    if not o.chance(.15):
        return [result]
    at = o.within(0, len(result))
    result = result[:at] + o.pick(('', '.', '+', '-', 'e', 'E', '#', ',', 'x', '1', 'n')) \
        + result[at + o.within(0, 1):]
    return [result or '-']


def exponent_case(o):
    if o.chance(.4):
        dropped = o.within(1, 51)
        return [o.make(o.sign() * o.tied(o.within(0, DIGITS - dropped), dropped), o.exponent()),
                TINY - dropped]
    value = o.number()
    return [value, o.pick((o.exponent(), TOP + o.within(-3, 60), TINY - o.within(-3, 60),
                           2 ** 31 - 1, -2 ** 31, o.within(-200000, 200000)))]


def integer_near(*limits):
    def make(o):
        if o.chance(.15):
            return [o.number()]
        value = o.pick(limits + (o.within(-9, 9), o.pick(limits) // o.within(1, 99)))
        value += o.pick((0, 0, 1, -1))
        dropped = o.within(0, 30)
        if not dropped:
            return [o.make(value, 0)]
        return [o.make(value * 10 ** dropped + o.tail(dropped) * o.sign(), -dropped)]
    return make


def double_of_bits(bits):
    return struct.unpack('<d', struct.pack('<Q', bits))[0]


def near_double(o):
    x = o.random.random()
    if x < .2:
        return [o.number()]
    if x < .3:
        return [o.make(o.sign() * o.coefficient(), o.within(-380, 310))]
    if x < .6:  # halfway between two doubles, exactly, or the least bit beside
        value, power = 2 * o.within(2 ** 52, 2 ** 53 - 1) + 1, o.within(-50, 110)
        value = Decimal(value * 2 ** power if power >= 0 else value * 5 ** -power)
        value = EXACT.scaleb(value, min(power, 0))
        return [o.pick((CONTEXT.plus, CONTEXT.next_minus, CONTEXT.next_plus))(value)]
    low = o.pick((o.within(0, 2 ** 63), o.within(0, 2 ** 52), o.within(0, 3), 0x7FEFFFFFFFFFFFFF))
    low = min(low, 0x7FEFFFFFFFFFFFFF)
    exact = Decimal(double_of_bits(low))
    above = Decimal(2 ** 1024) if low == 0x7FEFFFFFFFFFFFFF else Decimal(double_of_bits(low + 1))
    CONTEXT.rounding = o.pick((decimal.ROUND_DOWN, decimal.ROUND_UP))
    middle = EXACT.multiply(EXACT.add(exact, above), Decimal('0.5'))
    return [CONTEXT.multiply(o.pick((middle, middle, exact)), Decimal(o.sign()))]


def some_double(o):
    x = o.random.random()
    if x < .5:
        return [double_of_bits(o.within(0, 2 ** 64 - 1))]
    if x < .7:
        return [o.sign() * o.of_length(o.within(1, 17)) * 10.0 ** o.within(-30, 30)]
    if x < .9:
        return [o.sign() * 2.0 ** o.within(-1074, 1023)]
    return [o.pick((0.0, -0.0, float('inf'), -float('inf'), float('nan'), 5e-324, 1e22, 1e23,
                    9007199254740993.0, 1.7976931348623157e308, 2.2250738585072014e-308))]


def one(o):
    return [o.number()]


# Name, share, operands, how many special ones to combine, oracle, whether rounding modes matter.
OPERATIONS = [
    ('add', 12, sum_pair, 2, arithmetic('add'), True),
    ('sub', 6, sum_pair, 2, arithmetic('subtract'), True),
    ('mul', 10, product_pair, 2, arithmetic('multiply'), True),
    ('fma', 12, fma_triple, 3, fma, True),
    ('div', 10, quotient_pair, 2, arithmetic('divide'), True),
    ('divint', 4, integer_quotient_pair, 2, arithmetic('divide_int'), False),
    ('rem', 4, integer_quotient_pair, 2, arithmetic('remainder'), False),
    ('remnear', 5, integer_quotient_pair, 2, arithmetic('remainder_near'), False),
    ('quantize', 8, quantize_pair, 2, arithmetic('quantize'), True),
    ('compare', 4, compare_pair, 2, arithmetic('compare'), False),
    ('reduce', 3, reducible, 1, arithmetic('normalize'), False),
    ('minus', 1, one, 1, arithmetic('minus'), True),
    ('abs', 1, one, 1, arithmetic('abs'), True),
    ('toint', 4, fraction, 1, to_integral, True),
    ('sqrt', 5, square, 1, arithmetic('sqrt'), False),
    ('text', 6, text, 0, from_text, True),
    ('setexp', 3, exponent_case, 0, set_exponent, True),
    ('int64', 3, integer_near(2 ** 63, -2 ** 63), 1, to_integer(-2 ** 63, 2 ** 63 - 1), True),
    ('uint32', 2, integer_near(2 ** 32, 0), 1, to_integer(0, 2 ** 32 - 1), True),
    ('double', 4, near_double, 1, to_double, False),
    ('fromdouble', 3, some_double, 0, from_double, False),
]


SPECIAL = [Decimal(x) for x in ('0', '-0E+5', '2', '-Inf', 'Inf', 'NaN7', '-sNaN8',
                                '1000E+98250', '-1E-98354')]


# Texts next to the limits of the range, for all rounding modes.
LIMITS = ['9' * 53 + 'E98252', '9' * 52 + '5E+98252', '9' * 52 + '.49E98253', '-1E+98305',
          '1E98304', '9' * 52 + 'E-98355', '-9.' + '9' * 52 + 'E-98304', '1E-98355', '5E-98355',
          '-15E-98355', '1E-98407']


def case(name, oracle, mode, operands):
    CONTEXT.rounding = MODES[mode]
    CONTEXT.clear_flags()
    result, status = oracle(operands)
    return [name, str(mode), *map(spell, operands), spell(result), f'{status:x}']


def special_cases():
    """All combinations of special operands, and the limits."""
    for name, _, _, decimals, oracle, _ in OPERATIONS:
        if decimals:
            for operands in itertools.product(SPECIAL, repeat=decimals):
                yield case(name, oracle, HALF_EVEN, operands)
    for limit, mode in itertools.product(LIMITS, range(len(MODES))):
        yield case('text', from_text, mode, [limit])


def cases(seed):
    """Fields of one case after the other, without end."""
    yield from special_cases()
    o = Operands(seed)
    weights = [row[1] for row in OPERATIONS]
    while True:
        name, _, operands_of, _, oracle, has_modes = o.random.choices(OPERATIONS, weights)[0]
        operands = operands_of(o)
        if has_modes and o.chance(.04):
            modes = range(len(MODES))
        else:
            modes = [HALF_EVEN if o.chance(.6) else o.within(0, len(MODES) - 1)]
        for mode in modes:
            yield case(name, oracle, mode, operands)


def main():
    parser = argparse.ArgumentParser(description='Writes test vectors for 52-digit decimals.')
    parser.add_argument('--count', type=int, default=20000, help='number of cases (%(default)s)')
    parser.add_argument('--seed', type=int, default=52, help='of the random numbers (%(default)s)')
    arguments = parser.parse_args()
    before = ['']
    for _, fields in zip(range(arguments.count), cases(arguments.seed)):
        is_same = [a == b and len(a) > 1 and fields[0] == before[0] and at > 0
                   for at, (a, b) in enumerate(itertools.zip_longest(fields, before))]
        terse = ['"' if same else field for field, same in zip(fields, is_same)]
        sys.stdout.write(' '.join(terse) + '\n')
        before = fields


if __name__ == '__main__':
    main()
