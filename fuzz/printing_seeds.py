#!/usr/bin/env python3
# Writes the seed inputs of the printing fuzz target (fuzz/printing.hpp reads them):
#   python3 fuzz/printing_seeds.py fuzz/corpus/printing
# A byte is a step in its low four bits and an argument in its high four:
# 0 null, 1 bool(arg&1), 2 int arg-4, 3 integers[arg], 4 distinct int, 5 raw int (8 bytes),
# 6 doubles[arg], 7 raw double (8 bytes), 8 "id-N", 9 text(len, fill, flaw[, at]),
# 10 distinct text lengths[arg], 11 empty (arg&1 map), 12 small container (arg&1 map, 1+(arg>>1)),
# 13 container (arg&1 map, next byte count), 14 repeat copies[arg>>1], 15 repeat count byte.
# Keys: b&3: 0 names[b>>2], 1 "kN", 2 distinct text of b>>2 bytes, 3 text(...).
import sys, os
out = sys.argv[1]
LIST, MAP = 0, 1
def op(o, arg=0): return bytes([o | (arg << 4)])
def cnt(n): return n if n < 128 else n // 32 + 127
def repeat(kind, n, body): return op(15, kind) + bytes([cnt(n)]) + body
def small(kind, n, body): return op(12, kind | ((n - 1) << 1)) + body
def cont(kind, n, body): return op(13, kind) + bytes([n]) + body
def empty(kind): return op(11, kind)
def key_pool(i): return bytes([i << 2])
def key_distinct(): return bytes([1])
def key_dtext(n): return bytes([2 | (n << 2)])
def key_text(t): return bytes([3]) + t
def rawtext(length_byte, fill, flaw=0, at=0):
    return bytes([length_byte, fill, flaw]) + (bytes([at]) if flaw & 1 else b'')
def text(*a): return op(9) + rawtext(*a)
def dtext(i): return op(10, i)
def distinct(): return op(4)
def smallint(v): return op(2, v + 4)
def edge_int(i): return op(3, i)
def edge_double(i): return op(6, i)
def boolean(b): return op(1, b)
NULL = op(0)

seeds = {}
# The document of the issue: two distinct numbers, then 300 maps of two distinct numbers each.
seeds['small_maps_grow_table'] = cont(LIST, 3, distinct() + distinct() +
    repeat(LIST, 300, small(MAP, 2, key_pool(1) + distinct() + key_pool(2) + distinct())))
# Repeated small containers beside distinct ones: the table grows twice, containers are shared.
seeds['repeated_and_distinct'] = cont(LIST, 3,
    repeat(LIST, 864, small(LIST, 2, small(LIST, 1, distinct()) +
                            small(MAP, 2, key_pool(1) + smallint(1) + key_pool(3) + text(10, 2)))) +
    repeat(MAP, 300, key_distinct() + small(MAP, 3, key_pool(1) + op(8) + key_pool(2) +
                                            edge_int(3) + key_pool(5) + boolean(1))) +
    repeat(LIST, 100, small(LIST, 2, edge_int(4) + smallint(-3))))
# Strings of every length (0..159, then the long ones), repeated and distinct; keys past 64 bytes.
lens = list(range(0, 160, 3))
body = b''.join(text(l, 0x80 | (l % 26)) + text(l, l % 26) + text(l, l % 26) for l in lens)
body += b''.join(dtext(i) + dtext(i) for i in range(16))
keys = b''
for l in [1, 63, 64, 65, 100, 166, 167]:
    keys += key_text(rawtext(l, 3)) + small(LIST, 1, smallint(1))
    keys += key_text(rawtext(l, 0x83)) + small(MAP, 1, key_text(rawtext(l, 4)) + smallint(2))
flaws = b''.join(text(40, 7, f, 11) + text(66, 0x87, f, 65) for f in range(1, 48, 2))
seeds['text_flaws'] = repeat(LIST, 20, cont(LIST, 48, flaws))
seeds['strings_every_length'] = cont(LIST, 4,
    repeat(LIST, 4, cont(LIST, 3 * len(lens) + 32, body)) +
    cont(MAP, 14, keys) +
    repeat(LIST, 600, small(MAP, 1, key_pool(2) + text(8, 0x85))) +
    repeat(MAP, 300, key_dtext(63) + small(LIST, 1, dtext(6))))
# Escapes, multi-byte characters, NULs and bytes that are not UTF-8, at any place.
# Edge numbers, empty containers, deep nesting, keys with a NUL or not UTF-8, in repeated small
# containers.
edges = b''.join(edge_double(i) for i in range(16)) + b''.join(edge_int(i) for i in range(16))
seeds['edges'] = cont(LIST, 7,
    cont(LIST, 32, edges) +
    repeat(LIST, 100, small(MAP, 3, key_pool(1) + edge_double(0) + key_pool(2) + edge_double(1) +
                            key_pool(3) + smallint(0))) +
    repeat(LIST, 300, small(LIST, 2, small(LIST, 4, empty(LIST) + empty(MAP) + edge_int(11) +
                                           distinct()) +
                            small(LIST, 3, edge_int(12) + boolean(1) + NULL))) +
    repeat(MAP, 200, key_text(rawtext(5, 0x81, 3, 2)) + small(LIST, 2, distinct() + edge_double(4))) +
    repeat(MAP, 200, key_text(rawtext(5, 0x81, 1 | (5 << 2), 2)) + small(LIST, 1, distinct())) +
    repeat(LIST, 50, small(MAP, 1, key_text(rawtext(70, 0x81)) + smallint(3))) +
    cont(LIST, 30, b''.join(small(LIST, 1, b'') for _ in range(30)) + empty(LIST)))
for name, data in seeds.items():
    open(os.path.join(out, name), 'wb').write(data)
    print(name, len(data))
