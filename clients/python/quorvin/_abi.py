"""The C interface of libquorvin."""
import ctypes
import os
from typing import Any, Dict, Optional

from .errors import OpenError

ABI_VERSION = 1
# By its soname: a library of another interface has another one.
DEFAULT_FILE = 'libquorvin.so.1'
# Where libquorvin is, when the system does not know it.
FILE_VARIABLE = 'LIBQUORVIN'

REPLY = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p)
MESSAGE = ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_void_p, ctypes.c_size_t,
                           ctypes.c_void_p)
REQUEST_AUTHORIZATION = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p)
CONFIRM_DELETION = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_size_t, ctypes.c_void_p)
NO_MESSAGE = ctypes.cast(ctypes.c_void_p(None), MESSAGE)


class Options(ctypes.Structure):
    _fields_ = [
        ('struct_size', ctypes.c_size_t),
        ('library_path', ctypes.c_char_p),
        ('temporary_path', ctypes.c_char_p),
        ('system_version', ctypes.c_char_p),
        ('authorization', ctypes.c_int32),
        ('request_authorization', REQUEST_AUTHORIZATION),
        ('user_data', ctypes.c_void_p),
        ('confirm_deletion', CONFIRM_DELETION),
    ]


_loaded: Dict[str, Any] = {}


def load(file: Optional[str]) -> Any:
    """The functions of libquorvin, which stays loaded."""
    name = file or os.environ.get(FILE_VARIABLE) or DEFAULT_FILE
    if name not in _loaded:
        _loaded[name] = _load(name)
    return _loaded[name]


def _load(name: str) -> Any:
    try:
        functions = ctypes.CDLL(name)
        version = functions.quorvin_abi_version()
    except (OSError, AttributeError) as error:
        raise OpenError(f'libquorvin cannot be loaded ({error}); install quorvin, or say in the '
                        f'environment variable {FILE_VARIABLE} where the file is.') from error
    if version != ABI_VERSION:
        raise OpenError(f'"{name}" has version {version} of the interface of libquorvin, and '
                        f'{ABI_VERSION} is needed; install a quorvin that has it.')
    functions.quorvin_version.argtypes = []
    functions.quorvin_version.restype = ctypes.c_char_p
    functions.quorvin_engine_create.argtypes = [ctypes.POINTER(Options),
                                                ctypes.POINTER(ctypes.c_void_p)]
    functions.quorvin_engine_create.restype = ctypes.c_void_p
    functions.quorvin_engine_destroy.argtypes = [ctypes.c_void_p]
    functions.quorvin_engine_destroy.restype = None
    functions.quorvin_engine_send.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p,
                                              ctypes.c_size_t, REPLY, ctypes.c_void_p]
    functions.quorvin_engine_send.restype = None
    functions.quorvin_engine_receive.argtypes = [ctypes.c_void_p, MESSAGE, ctypes.c_void_p]
    functions.quorvin_engine_receive.restype = None
    functions.quorvin_engine_fd.argtypes = [ctypes.c_void_p]
    functions.quorvin_engine_fd.restype = ctypes.c_int
    functions.quorvin_engine_run.argtypes = [ctypes.c_void_p, ctypes.c_int]
    functions.quorvin_engine_run.restype = ctypes.c_size_t
    functions.quorvin_free.argtypes = [ctypes.c_void_p]
    functions.quorvin_free.restype = None
    return functions
