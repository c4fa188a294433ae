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
import re
import struct
from decimal import Decimal
from functools import partial
from random import choice as pick, choices, randint as within, random, seed

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
    minus, digits, exponent = value.as_tuple()
    name = {'F': 'Inf', 'n': 'NaN', 'N': 'sNaN'}.get(exponent, '')
    coefficient = '' if name == 'Inf' else ''.join(map(str, digits))
    return minus * '-' + name + coefficient + (f'E{exponent}' if exponent and not name else '')


def arithmetic(name, *operands):
    """The result of the module's operation, and the status."""
    result = getattr(CONTEXT, name)(*operands)
    status = sum(STATUS.get(signal, 0) for signal, is_set in CONTEXT.flags.items() if is_set)
    if not status & 0x80:
        return result, status
    TRAPPING.rounding = CONTEXT.rounding
    try:
        getattr(TRAPPING, name)(*operands)
    except decimal.InvalidOperation as error:
        bits = {INVALID.get(condition.__name__, 0x80) for condition in error.args[0]}
        return result, status & ~0x80 | sum(bits)
    raise AssertionError('invalid in one context only')


def fma(*operands):
    signaling = [x for x in operands if x.is_snan()]
    return (CONTEXT.plus(signaling[0]), 0x80) if signaling else arithmetic('fma', *operands)


def to_integral(value):
    return value.to_integral_value(CONTEXT.rounding, CONTEXT), 0x80 if value.is_snan() else 0


def from_text(text):
    is_number = SYNTAX.fullmatch(text)
    return arithmetic('create_decimal', text) if is_number else (Decimal('NaN'), 0x1)


def set_exponent(value, exponent):
    if not value.is_finite():
        return value, 0
    return arithmetic('create_decimal', Decimal(value.as_tuple()._replace(exponent=exponent)))


def to_integer(low, high, value):
    if value.is_finite() and (value.adjusted() < 30 or not value):
        integer = int(value.to_integral_value(CONTEXT.rounding, EXACT))
        if low <= integer <= high:
            return integer, 0
    return 0, 0x80


def to_double(value):
    return (float('nan') if value.is_nan() else float(value)), 0


def from_double(value):
    return EXACT.normalize(Decimal(repr(value))), 0


# --- random operands: all sizes are small or at a limit more often than between ------------------

def chance(probability):
    return random() < probability


def length(most=DIGITS):
    x = random()
    if x < .5:
        return within(1, min(4, most))
    return most if x > .9 else within(1, most)


def of_length(size):
    return within(10 ** (size - 1), 10 ** size - 1)


def coefficient(most=DIGITS):
    size = length(most)
    x = random()
    if x < .70:
        return of_length(size)
    if x < .76:
        return 10 ** size - 1 - (within(0, 9) if chance(.5) else 0)
    if x < .82:
        return within(1, 9) * 10 ** (size - 1) + pick((0, 0, 1))
    if x < .86:  # around the limits of machine words
        word = 2 ** pick((31, 32, 63, 64, 65, 96, 127, 128, 129, 160, 172))
        return min(word + within(-2, 2), 10 ** most - 1)
    if x < .90:  # words of few ones or few zeros
        value = 0
        for _ in range(3):
            any_word = within(0, 2 ** 64 - 1)
            value = value << 64 | pick((0, 1, 2 ** 63, 2 ** 64 - 1, 2 ** 64 - 2, any_word))
        return max(value >> within(192 - most * 33219 // 10000, 190), 1)
    zeros = within(0, size - 1)
    return of_length(size - zeros) * 10 ** zeros


def power():
    x = random()
    near = within(-9, 9) if x < .5 else within(-60, 60) if x < .8 else 0
    return near if x < .8 else within(TOP - 60, TOP) if x < .9 else within(TINY, TINY + 60)


def sign():
    return pick((1, 1, -1))


def signed():
    return sign() * coefficient()


def make(digits, exponent):
    """A decimal that the format can hold: rounded and clamped to it if need be."""
    CONTEXT.rounding = MODES[HALF_EVEN]
    return CONTEXT.create_decimal(f'{digits}E{exponent}')


def special():
    if chance(.45):
        return make(pick(('0', '-0')), power())
    payload = str(coefficient(51)) if chance(.6) else ''
    name = pick(('Inf', 'Inf', 'NaN' + payload, 'sNaN' + payload))
    return Decimal(pick(('', '-')) + name)


def finite():
    return make(signed(), power())


def number():
    return special() if chance(.05) else finite()


def tail(size):
    """`size` digits to be rounded away: a tie, or next to one, or next to nothing."""
    half, nines = 5 * 10 ** (size - 1), 10 ** size - 1
    return pick((half, half, half, half - 1, half + 1, 0, 1, nines, within(0, nines)))


def tied(kept, dropped):
    """`kept` digits, the last even, odd or all nines, with a tail of `dropped` digits."""
    head = 10 ** kept - 1 if chance(.2) else of_length(kept) if kept else 0
    return head * 10 ** dropped + tail(dropped)


# --- operands of each operation -------------------------------------------------------------------

def one():
    return [number()]


def or_any(share, count):
    """Makes operands of the rest of a random number's range; below `share`, any `count` numbers."""
    def decorate(make_of):
        def operands():
            x = random()
            return [number() for _ in range(count)] if x < share else make_of(x)
        return operands
    return decorate


@or_any(.15, 2)
def sum_pair(x):
    exponent = power()
    if x < .40:  # all overlaps, to far beyond the digits
        gap = within(-110, 110)
        return [make(signed(), exponent), make(signed(), exponent + gap)]
    if x < .60:  # the second decides the rounding of the first
        shift = within(1, 60)
        left = 10 ** DIGITS - 1 if chance(.2) else of_length(DIGITS)
        return [make(sign() * left, exponent),
                make(sign() * tail(min(shift, DIGITS)), exponent - shift)]
    if x < .75:  # a power of ten loses a digit to the smaller term
        shift = within(1, 60)
        return [make(sign() * 10 ** within(0, DIGITS - 1), exponent),
                make(-sign() * tail(within(1, DIGITS)), exponent - shift)]
    if x < .90:  # cancellation
        zeros = within(0, 20)
        left = coefficient(DIGITS - zeros)
        right = left * 10 ** zeros + pick((0, 0, 1, -1, within(-999, 999)))
        return [make(left, exponent), make(-right, exponent - zeros)]
    zero = make(pick(('0', '-0')), exponent + within(-110, 110))
    return pick(([zero, make(signed(), exponent)],
                 [make(signed(), exponent), zero],
                 [zero, make(pick(('0', '-0')), power())]))


def odd(size):
    return of_length(size) | 1


def exponents_to_limit(digits):
    """Two exponents whose sum is near an end of the range, for a coefficient of so many digits."""
    total = pick((TINY - digits, TINY, TOP, TOP + DIGITS)) + within(-4, 60)
    first = max(TINY, min(TOP, total // 2 + within(-40000, 40000)))
    return first, max(TINY, min(TOP, total - first))


@or_any(.3, 2)
def product_pair(x):
    if x < .6:  # exactly a half behind the last digit
        dropped = within(1, 46)
        size = within(dropped * 7 // 10 + 2, 51 - dropped * 3 // 10)
        left = 2 ** (dropped - 1) * odd(size) * sign()
        right = 5 ** dropped * odd(53 - size)
        return [make(left, power()), make(right, within(-9, 9))]
    if x < .75:  # a subnormal tie
        dropped, first = within(1, 40), within(TINY, 0)
        return [make(sign() * tied(within(0, DIGITS - dropped), dropped), first),
                make(1, TINY - dropped - first)]
    left, right = signed(), signed()
    first, second = exponents_to_limit(len(str(left * right)))
    return [make(left, first), make(right, second)]


def next_to_half():
    """A product next to a half or the whole of the last digit of the third operand: what tells
    them apart is more than 54 digits behind."""
    size = within(20, DIGITS)
    near = pick((5, 10)) * 10 ** (size + 50)
    for _ in range(400):
        left = of_length(size)
        right = near // left + within(0, 1)
        if abs(left * right - near) < 10 ** (size - 2):
            break
    exponent = within(-60, 60)
    return [make(left, exponent), make(right * sign(), 0),
            make(of_length(DIGITS) * sign(), exponent + size + 51)]


@or_any(.15, 3)
def fma_triple(x):
    left, right = product_pair()
    if not (left.is_finite() and right.is_finite() and left and right):
        return [left, right, number()]
    product = EXACT.multiply(left, right)
    _, digits, exponent = product.as_tuple()
    if x < .45:  # all overlaps with the product
        gap = within(-60, len(digits) + 60)
        return [left, right, make(signed(), exponent + gap)]
    if x < .65:  # cancellation of its first digits, or of all
        CONTEXT.rounding = pick(MODES)
        near = CONTEXT.minus(product)
        wobble = pick((0, 0, 1, -1))
        minus, digits, exponent = near.as_tuple() if near.is_finite() else (0, (1,), 0)
        near = int(''.join(map(str, digits))) + wobble
        return [left, right, make(-near if minus else near, exponent)]
    if x < .85:  # next to nothing beside it, or it beside the third
        far = pick((within(50, 170), within(50, 400))) * pick((1, -1)) + exponent
        third = pick((coefficient(), coefficient(2), of_length(DIGITS)))
        return [left, right, make(sign() * third, far)]
    if x < .9:
        return next_to_half()
    return [left, right, make(pick(('0', '-0')), exponent + within(-110, 110))]


@or_any(.3, 2)
def quotient_pair(x):
    if x < .6:  # a power of two below leaves a half behind the last digit, or ends before
        halves = within(1, 75)
        size = max(1, min(53 + pick((0, 0, 0, -1, 1)) - halves * 7 // 10, 51))
        factor = coefficient(max(1, 51 - max(size, halves * 31 // 100 + 1)))
        return [make(sign() * odd(size) * factor, power()),
                make(2 ** halves * factor, within(-9, 9))]
    if x < .8:  # exact
        size = within(1, 51)
        right = coefficient(DIGITS - size)
        left = right * coefficient(size)
        return [make(sign() * left, power()), make(right * sign(), within(-60, 60))]
    first, second = exponents_to_limit(within(0, DIGITS))
    return [make(signed(), first), make(signed(), -second)]


@or_any(.2, 2)
def integer_quotient_pair(x):
    exponent = power()
    if x < .5:  # quotients of all lengths, also beyond the digits
        left, right = coefficient(), coefficient()
        wanted = pick((within(-2, 56), within(50, 54)))
        gap = wanted - len(str(left)) + len(str(right))
        return [make(sign() * left, exponent + gap), make(sign() * right, exponent)]
    right = coefficient(30)  # an integer, or a half more or nearly so
    quotient, zeros = pick((0, 0, 1, coefficient(20))), pick((0, 0, within(0, 20)))
    half = right if chance(.5) else 0
    right += half
    left = (right * quotient + half) * 10 ** zeros + pick((0, 1, -1))
    return [make(sign() * left, exponent - zeros), make(sign() * right, exponent)]


@or_any(.15, 2)
def quantize_pair(x):
    exponent = power()
    if x < .75:
        dropped = within(1, 51)
        value = tied(length(DIGITS - dropped) - 1, dropped)
        return [make(sign() * value, exponent), make(coefficient(), exponent + dropped)]
    value = pick((coefficient(), 0))
    room = DIGITS - len(str(value))
    return [make(sign() * value, exponent),
            make(coefficient(), exponent - room + pick((0, -1, 1, within(-60, 60))))]


def compare_pair():
    if chance(.5):
        return sum_pair()
    zeros, value, exponent, wobble = within(0, 30), coefficient(22), power(), pick((0, 0, 1))
    value *= sign()
    return [make(value, exponent), make(value * 10 ** zeros + wobble, exponent - zeros)]


def reducible():
    zeros = within(0, 51)
    value = sign() * coefficient(DIGITS - zeros) * 10 ** zeros
    return one() if chance(.2) else [make(value, power())]


@or_any(.15, 1)
def fraction(_):
    dropped = within(1, 51) if chance(.8) else within(50, 70)
    kept = length(max(1, DIGITS - dropped)) - within(0, 1)
    return [make(sign() * (tied(kept, dropped) if dropped < DIGITS else coefficient()), -dropped)]


@or_any(.25, 1)
def square(x):
    if x < .5:
        root = coefficient(26)
        return [make(root * root, power() * 2 if chance(.5) else power())]
    if x < .75:  # as near to the square of 52 digits, or of a half more, as 52 digits come
        root = coefficient() * 10 + pick((0, 5))
        value = make(root * root, power())
        return [value if chance(.5) else pick((value.next_minus, value.next_plus))(CONTEXT)]
    return [finite().copy_abs()]


def spelled(value, exponent):
    """One of the many texts for a number."""
    digits = '0' * pick((0, 0, 0, 1, 7)) + str(value)
    if chance(.6):
        point = within(0, len(digits))
        exponent += len(digits) - point
        digits = digits[:point] + '.' + digits[point:]
    mark = ''
    if exponent or chance(.3):
        mark = pick('eE') + (pick(('+', '')) if exponent >= 0 else '-')
        mark += '0' * pick((0, 0, 2)) + str(abs(exponent))
    return pick(('', '', '+', '-')) + digits + mark


def text():
    x = random()
    if x < .3:
        result = spelled(coefficient(), power())
    elif x < .5:  # more digits than fit
        dropped = within(1, 70)
        result = spelled(tied(DIGITS, dropped), power())
    elif x < .6:  # subnormal, or next to overflow
        dropped = within(1, 60)
        kept, limit = pick(((within(0, DIGITS), TINY), (DIGITS, TOP + within(-1, 1))))
        result = spelled(tied(kept, dropped), limit - dropped)
    elif x < .7:  # out of range
        limit = pick((98304, 98305, 98355, 98356, 99999, 100000, 2 ** 31, 2 ** 32 + 3,
                      2 ** 63, 2 ** 64 + 7, of_length(within(6, 30))))
        result = spelled(pick((coefficient(), 0)), limit * pick((1, -1)))
    else:
        payload = str(coefficient(51))
        name = pick(('inf', 'infinity', 'nan', 'snan', 'nan' + payload, 'snan' + payload,
                     'nan' + '0' * 9 + payload, 'nan' + str(of_length(52))))
        result = pick(('', '+', '-')) + ''.join(pick((c.upper(), c.lower())) for c in name)
    if chance(.15):
        at = within(0, len(result))
        wrong = pick(('', '.', '+', '-', 'e', 'E', '#', ',', 'x', '1', 'n'))
        result = result[:at] + wrong + result[at + within(0, 1):]
    return [result or '-']


def exponent_case():
    if chance(.4):
        dropped = within(1, 51)
        value = make(sign() * tied(within(0, DIGITS - dropped), dropped), power())
        return [value, TINY - dropped]
    return [number(), pick((power(), TOP + within(-3, 60), TINY - within(-3, 60),
                            2 ** 31 - 1, -2 ** 31, within(-200000, 200000)))]


def integer_near(*limits):
    if chance(.15):
        return one()
    value = pick(limits + (within(-9, 9), pick(limits) // within(1, 99))) + pick((0, 0, 1, -1))
    dropped = within(0, 30)
    rest = tail(dropped) * sign() if dropped else 0
    return [make(value * 10 ** dropped + rest, -dropped)]


def double_of_bits(bits):
    return struct.unpack('<d', struct.pack('<Q', bits))[0]


@or_any(.2, 1)
def near_double(x):
    if x < .3:
        return [make(signed(), within(-380, 310))]
    if x < .6:  # halfway between two doubles, exactly, or the least bit beside
        value, twos = 2 * within(2 ** 52, 2 ** 53 - 1) + 1, within(-50, 110)
        value = Decimal(value * 2 ** twos if twos >= 0 else value * 5 ** -twos)
        value = EXACT.scaleb(value, min(twos, 0))
        return [pick((CONTEXT.plus, CONTEXT.next_minus, CONTEXT.next_plus))(value)]
    largest = 0x7FEFFFFFFFFFFFFF
    low = min(pick((within(0, 2 ** 63), within(0, 2 ** 52), within(0, 3), largest)), largest)
    exact = Decimal(double_of_bits(low))
    above = Decimal(2 ** 1024 if low == largest else double_of_bits(low + 1))
    CONTEXT.rounding = pick((decimal.ROUND_DOWN, decimal.ROUND_UP))
    middle = EXACT.multiply(EXACT.add(exact, above), Decimal('0.5'))
    return [CONTEXT.multiply(pick((middle, middle, exact)), Decimal(sign()))]


def some_double():
    x = random()
    if x < .5:
        return [double_of_bits(within(0, 2 ** 64 - 1))]
    if x < .7:
        return [sign() * of_length(within(1, 17)) * 10.0 ** within(-30, 30)]
    if x < .9:
        return [sign() * 2.0 ** within(-1074, 1023)]
    return [pick((0.0, -0.0, float('inf'), -float('inf'), float('nan'), 5e-324, 1e22, 1e23,
                  9007199254740993.0, 1.7976931348623157e308, 2.2250738585072014e-308))]


# Name, share, operands, how many special ones to combine, oracle, whether rounding modes matter.
OPERATIONS = [
    ('add', 12, sum_pair, 2, partial(arithmetic, 'add'), True),
    ('sub', 6, sum_pair, 2, partial(arithmetic, 'subtract'), True),
    ('mul', 10, product_pair, 2, partial(arithmetic, 'multiply'), True),
    ('fma', 12, fma_triple, 3, fma, True),
    ('div', 10, quotient_pair, 2, partial(arithmetic, 'divide'), True),
    ('divint', 4, integer_quotient_pair, 2, partial(arithmetic, 'divide_int'), False),
    ('rem', 4, integer_quotient_pair, 2, partial(arithmetic, 'remainder'), False),
    ('remnear', 5, integer_quotient_pair, 2, partial(arithmetic, 'remainder_near'), False),
    ('quantize', 8, quantize_pair, 2, partial(arithmetic, 'quantize'), True),
    ('compare', 4, compare_pair, 2, partial(arithmetic, 'compare'), False),
    ('reduce', 3, reducible, 1, partial(arithmetic, 'normalize'), False),
    ('minus', 1, one, 1, partial(arithmetic, 'minus'), True),
    ('abs', 1, one, 1, partial(arithmetic, 'abs'), True),
    ('toint', 4, fraction, 1, to_integral, True),
    ('sqrt', 5, square, 1, partial(arithmetic, 'sqrt'), False),
    ('text', 6, text, 0, from_text, True),
    ('setexp', 3, exponent_case, 0, set_exponent, True),
    ('int64', 3, partial(integer_near, 2 ** 63, -2 ** 63), 1,
     partial(to_integer, -2 ** 63, 2 ** 63 - 1), True),
    ('uint32', 2, partial(integer_near, 2 ** 32, 0), 1, partial(to_integer, 0, 2 ** 32 - 1), True),
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
    result, status = oracle(*operands)
    return [name, str(mode), *map(spell, operands), spell(result), f'{status:x}']


def cases():
    """Fields of one case after the other, without end: special operands combined, the limits, and
    what chance gives."""
    for name, _, _, decimals, oracle, _ in OPERATIONS:
        for operands in itertools.product(SPECIAL, repeat=decimals) if decimals else []:
            yield case(name, oracle, HALF_EVEN, operands)
    for limit, mode in itertools.product(LIMITS, range(len(MODES))):
        yield case('text', from_text, mode, [limit])
    while True:
        weights = [row[1] for row in OPERATIONS]
        name, _, operands_of, _, oracle, has_modes = choices(OPERATIONS, weights)[0]
        operands = operands_of()
        modes = range(len(MODES))
        if not has_modes or not chance(.04):
            modes = [HALF_EVEN if chance(.6) else pick(modes)]
        for mode in modes:
            yield case(name, oracle, mode, operands)


def main():
    parser = argparse.ArgumentParser(description='Writes test vectors for 52-digit decimals.')
    parser.add_argument('--count', type=int, default=20000, help='number of cases (%(default)s)')
    parser.add_argument('--seed', type=int, default=52, help='of the random numbers (%(default)s)')
    arguments = parser.parse_args()
    seed(arguments.seed)
    before = ['']
    for fields in itertools.islice(cases(), arguments.count):
        same = [a == b and len(a) > 1 and fields[0] == before[0]
                for a, b in itertools.zip_longest(fields, before)]
        print(fields[0], *('"' if is_same else field
                           for field, is_same in zip(fields[1:], same[1:])))
        before = fields


if __name__ == '__main__':
    main()
