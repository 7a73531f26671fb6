"""Values in the form that the program codec_values writes them in."""
import struct
from array import array

from quorvin import LargeInteger, Pairs

NUMBERS = {'int32s': 'i', 'int64s': 'q', 'floats': 'f', 'doubles': 'd'}


def described(value):
    """Null, booleans, texts and lists as they are; everything else under a key for its kind."""
    if value is None or isinstance(value, (bool, str)):
        return value
    if isinstance(value, LargeInteger):
        return {'largeInteger': value.hexadecimal}
    if isinstance(value, int):
        return {'integer': str(value)}
    if isinstance(value, float):
        return {'double': struct.pack('>d', value).hex()}
    if isinstance(value, bytes):
        return {'bytes': value.hex()}
    if isinstance(value, list):
        return [described(element) for element in value]
    if isinstance(value, array):
        kind = next(kind for kind, typecode in NUMBERS.items() if typecode == value.typecode)
        if value.typecode in 'iq':
            return {kind: [str(number) for number in value]}
        return {kind: [struct.pack('>' + value.typecode, number).hex() for number in value]}
    pairs = value if isinstance(value, Pairs) else value.items()
    return {'map': [[described(key), described(entry)] for key, entry in pairs]}


def undescribed(description):
    if isinstance(description, list):
        return [undescribed(element) for element in description]
    if not isinstance(description, dict):
        return description
    (kind, held), = description.items()
    if kind == 'integer':
        return int(held)
    if kind == 'double':
        return struct.unpack('>d', bytes.fromhex(held))[0]
    if kind == 'largeInteger':
        return LargeInteger(held)
    if kind == 'bytes':
        return bytes.fromhex(held)
    if kind == 'map':
        return Pairs((undescribed(key), undescribed(entry)) for key, entry in held)
    typecode = NUMBERS[kind]
    if typecode in 'iq':
        return array(typecode, map(int, held))
    return array(typecode, (struct.unpack('>' + typecode, bytes.fromhex(digits))[0]
                            for digits in held))
