"""libksigil.so.1 and its functions, as ksigil.h declares them."""

import ctypes
import pathlib
from ctypes import (CFUNCTYPE, POINTER, Structure, c_char, c_char_p, c_int, c_size_t, c_uint,
                    c_uint8, c_uint16, c_uint32, c_uint64, c_void_p)

ENTRY_LENGTH = 4
READER_NAME_LENGTH = 128

ProgressCallback = CFUNCTYPE(c_int, c_void_p, c_uint64, c_uint64)
WaitingCallback = CFUNCTYPE(None, c_void_p, c_char_p)


class Reader(Structure):
    _fields_ = [("name", c_char * READER_NAME_LENGTH), ("has_token", c_int)]


class TokenInfo(Structure):
    _fields_ = [("serial", c_uint8 * 8), ("bytes_used", c_uint32), ("bytes_total", c_uint32),
                ("packages", c_uint16), ("version", c_uint16), ("colour", c_uint8)]


class Object(Structure):
    _fields_ = [("id", c_uint16), ("type", c_uint8), ("attribute", c_uint8), ("size", c_uint32)]


class Protector(Structure):
    _fields_ = [("has_entry", c_int), ("has_directory", c_int), ("has_key", c_int),
                ("directory", c_char * 16), ("key", c_char * 16)]


class Entry(Structure):
    _fields_ = [("id", c_uint32), ("content", c_uint8 * ENTRY_LENGTH)]


_token = c_void_p
_path = c_char_p
_bytes = c_char_p  # read only
_buffer = c_void_p  # written
_size = c_size_t
_size_out = POINTER(c_size_t)
_cipher = (_bytes, _size, _buffer, _size, _size_out)

# Name, what it gives (None: a result number), and its arguments.
_functions = {
    "ksigil_version": (c_char_p, ()),
    "ksigil_result_text": (c_char_p, (c_uint32,)),
    "ksigil_reason": (c_char_p, ()),
    "ksigil_colour_name": (c_char_p, (c_uint8,)),
    "ksigil_package_name": (c_char_p, (c_uint,)),
    "ksigil_set_progress": ("void", (ProgressCallback, c_void_p)),
    "ksigil_set_waiting": ("void", (WaitingCallback, c_void_p)),
    "ksigil_close": ("void", (_token,)),
    "ksigil_readers": (None, (POINTER(Reader), _size, _size_out)),
    "ksigil_open": (None, (c_char_p, POINTER(_token))),
    "ksigil_thread_done": (None, (_token,)),
    "ksigil_lock": (None, (_token,)),
    "ksigil_unlock": (None, (_token,)),
    "ksigil_login": (None, (_token, _bytes, _size)),
    "ksigil_logout": (None, (_token,)),
    "ksigil_change_password": (None, (_token, _bytes, _size)),
    "ksigil_get_token_info": (None, (_token, POINTER(TokenInfo))),
    "ksigil_get_object": (None, (_token, _path, POINTER(Object))),
    "ksigil_list": (None, (_token, _path, POINTER(Object), _size, _size_out)),
    "ksigil_make_file": (None, (_token, _path, _size, c_int)),
    "ksigil_make_directory": (None, (_token, _path, c_int)),
    "ksigil_make_key": (None, (_token, _path, c_int)),
    "ksigil_remove": (None, (_token, _path)),
    "ksigil_remove_tree": (None, (_token, _path)),
    "ksigil_read": (None, (_token, _path, _size, _buffer, _size)),
    "ksigil_read_file": (None, (_token, _path, _buffer, _size, _size_out)),
    "ksigil_write": (None, (_token, _path, _size, _bytes, _size)),
    "ksigil_write_file": (None, (_token, _path, _bytes, _size)),
    "ksigil_write_key": (None, (_token, _path, _bytes, _size)),
    "ksigil_encrypt": (None, (_token, _path, *_cipher)),
    "ksigil_decrypt": (None, (_token, _path, *_cipher)),
    "ksigil_protector_encrypt": (None, (_token, *_cipher)),
    "ksigil_protector_decrypt": (None, (_token, *_cipher)),
    "ksigil_get_protector": (None, (_token, POINTER(Protector))),
    "ksigil_prepare_protector": (None, (_token, POINTER(c_int))),
    "ksigil_list_entries": (None, (_token, POINTER(Entry), _size, _size_out)),
    "ksigil_get_entry": (None, (_token, c_uint32, _buffer)),
    "ksigil_set_entry": (None, (_token, c_uint32, _bytes)),
    "ksigil_remove_entry": (None, (_token, c_uint32)),
    "ksigil_find_directory": (None, (_token, c_uint16, POINTER(c_uint16))),
}


def _name():
    """The library of the prefix that the module is installed in, or the one that the system finds."""
    module = pathlib.Path(__file__).resolve()
    if module.parents[1].name == "dist-packages":
        libraries = module.parents[3]
        for found in (*libraries.glob("libksigil.so.1"), *libraries.glob("*/libksigil.so.1")):
            return str(found)
    return "libksigil.so.1"


def _load():
    library = ctypes.CDLL(_name())
    for name, (result, arguments) in _functions.items():
        function = getattr(library, name)
        function.argtypes = arguments
        function.restype = {None: c_uint32, "void": None}.get(result, result)
    return library


library = _load()
