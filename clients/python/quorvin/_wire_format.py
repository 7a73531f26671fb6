"""The type bytes of the standard message codec. All numbers on the wire are little-endian."""
NULL = 0
TRUE = 1
FALSE = 2
INT32 = 3
INT64 = 4
LARGE_INTEGER = 5
FLOAT64 = 6
STRING = 7
BYTES = 8
INT32_LIST = 9
INT64_LIST = 10
FLOAT64_LIST = 11
LIST = 12
MAP = 13
FLOAT32_LIST = 14

# A size below this is one byte; this byte and the next announce two and four bytes.
TWO_BYTE_SIZE = 254
FOUR_BYTE_SIZE = 255

# How many lists and maps may lie within one another.
MAXIMUM_NESTING = 256
