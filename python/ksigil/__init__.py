"""libksigil in Python: work on a security token of the kSigil family.

    import ksigil

    with ksigil.open() as token:
        token.login(b"1234")
        with token.lock():
            for child in token.list("3f00"):
                print(child)

Each function does what its namesake in ksigil(3) does; a failure raises Error. Bytes go in as bytes,
bytearray or memoryview, and come out as bytes. Paths and readers' names are str.
"""

import contextlib
import ctypes
import threading
from typing import NamedTuple

from . import _library
from ._library import library as _lib

OK = 0
LOST_MANAGER = 6
NO_SPACE = 8
INVALID_PARAMETER = 0x57
TOO_MANY_THREADS = 0x8007000E
INVALID_ARGUMENT = 0x80070057
CANCELLED = 0x80100002
INVALID_HANDLE = 0x80100003
NO_HOST_MEMORY = 0x80100006
BUFFER_TOO_SMALL = 0x80100008
UNKNOWN_READER = 0x80100009
NO_TOKEN = 0x8010000C
COMMUNICATION = 0x80100013
READER_GONE = 0x80100017
UNEXPECTED = 0x8010001F
TOKEN_RESET = 0x80100068
TOKEN_REMOVED = 0x80100069
NOT_EMPTY = 0xE0066406
NOT_FOUND = 0xE0066407
NO_TOKEN_MEMORY = 0xE0066409
NO_LOGIN = 0xE0066982
NO_PROTECTOR = 0xE0130001

MAX_FILE_SIZE = 65535
MAX_CHILDREN = 1024
MAX_ENTRIES = 7278
KEY_LENGTH = 16
ENTRY_LENGTH = _library.ENTRY_LENGTH
MAX_CIPHER_LENGTH = 0x10000000
_MOST_PADDING = 8

FILE, DIRECTORY, KEY = 1, 2, 3
PUBLIC, PRIVATE, ONE_FACTOR, TWO_FACTOR = 0, 1, 2, 3


class Error(Exception):
    """A failure: `code` is the result number, `text` its words, `reason` why it failed."""

    def __init__(self, code, reason=None):
        self.code = code
        self.reason = _text(_lib.ksigil_reason()) if reason is None else reason
        self.text = result_text(code)
        super().__init__(f"{self.reason or self.text} (0x{code:08X})")


class Reader(NamedTuple):
    name: str
    has_token: bool


class TokenInfo(NamedTuple):
    serial: bytes
    bytes_used: int
    bytes_total: int
    packages: int
    version: int
    colour: int


class Object(NamedTuple):
    id: int
    type: int
    attribute: int
    size: int


class Protector(NamedTuple):
    has_entry: bool
    has_directory: bool
    has_key: bool
    directory: str
    key: str


# What the calling thread's progress callback raised, and the callback itself, which C holds on to.
_thread = threading.local()
_waiting = None


def _text(bytes_of_c):
    return bytes_of_c.decode("utf-8", "replace")


def _check(result):
    raised, _thread.raised = getattr(_thread, "raised", None), None
    if raised is not None:
        raise raised
    if result != OK:
        raise Error(result)


def _c_text(text):
    encoded = text.encode()
    if b"\0" in encoded:
        raise Error(INVALID_ARGUMENT, "there is a zero byte in the name")
    return encoded


def _bytes(content):
    # A view's own length may count items of more than a byte.
    whole = bytes(content)
    return whole, len(whole)


def _listed(struct, capacity, call):
    count = ctypes.c_size_t(capacity)
    result = BUFFER_TOO_SMALL
    while result == BUFFER_TOO_SMALL:
        items = (struct * count.value)()
        result = call(items, len(items), ctypes.byref(count))
    _check(result)
    return items[:count.value]


def version():
    return _text(_lib.ksigil_version())


def result_text(code):
    return _text(_lib.ksigil_result_text(code))


def colour_name(colour):
    return _text(_lib.ksigil_colour_name(colour))


def package_name(package):
    return _text(_lib.ksigil_package_name(package))


def set_progress(progress):
    """Sets the calling thread's callback progress(done, total); None for none. One that returns true,
    or raises, ends the operation; what it raises is raised by the operation."""

    def tell(_, done, total):
        try:
            return 1 if progress(done, total) else 0
        except BaseException as raised:  # an interrupt of the keyboard, too
            _thread.raised = raised
            return 1

    callback = _library.ProgressCallback(tell if progress else 0)
    _lib.ksigil_set_progress(callback, None)
    _thread.progress = callback


def set_waiting(waiting):
    """Sets the process's callback waiting(text) for long waits; None for none. No operation may be in
    flight in any thread."""
    global _waiting
    callback = _library.WaitingCallback((lambda _, text: waiting(_text(text))) if waiting else 0)
    _lib.ksigil_set_waiting(callback, None)
    _waiting = callback


def readers():
    return [Reader(_text(reader.name), bool(reader.has_token))
            for reader in _listed(_library.Reader, 8, _lib.ksigil_readers)]


def open(reader=None):
    """Opens the reader of that name, else the one that QVSh works on."""
    return Token(reader)


class Token:
    """An open token. It closes itself at the end of a `with`."""

    def __init__(self, reader=None):
        self._handle = ctypes.c_void_p()
        name = None if reader is None else _c_text(reader)
        _check(_lib.ksigil_open(name, ctypes.byref(self._handle)))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __del__(self):
        self.close()

    def close(self):
        handle, self._handle = self._handle, ctypes.c_void_p()
        _lib.ksigil_close(handle)

    def thread_done(self):
        _check(_lib.ksigil_thread_done(self._handle))

    @contextlib.contextmanager
    def lock(self):
        """Holds the card lock for the calling thread, in a `with`."""
        _check(_lib.ksigil_lock(self._handle))
        try:
            yield
        except BaseException:
            _lib.ksigil_unlock(self._handle)
            raise
        _check(_lib.ksigil_unlock(self._handle))

    def login(self, password):
        _check(_lib.ksigil_login(self._handle, *_bytes(password)))

    def logout(self):
        _check(_lib.ksigil_logout(self._handle))

    def change_password(self, password):
        _check(_lib.ksigil_change_password(self._handle, *_bytes(password)))

    def info(self):
        info = _library.TokenInfo()
        _check(_lib.ksigil_get_token_info(self._handle, ctypes.byref(info)))
        return TokenInfo(bytes(info.serial), info.bytes_used, info.bytes_total, info.packages,
                         info.version, info.colour)

    def object(self, path):
        found = _library.Object()
        _check(_lib.ksigil_get_object(self._handle, _c_text(path), ctypes.byref(found)))
        return Object(found.id, found.type, found.attribute, found.size)

    def list(self, path):
        children = _listed(_library.Object, MAX_CHILDREN,
                           lambda *room: _lib.ksigil_list(self._handle, _c_text(path), *room))
        return [Object(child.id, child.type, child.attribute, child.size) for child in children]

    def make_file(self, path, size, private=False):
        _check(_lib.ksigil_make_file(self._handle, _c_text(path), _size(size), bool(private)))

    def make_directory(self, path, private=False):
        _check(_lib.ksigil_make_directory(self._handle, _c_text(path), bool(private)))

    def make_key(self, path, two_factor=False):
        _check(_lib.ksigil_make_key(self._handle, _c_text(path), bool(two_factor)))

    def remove(self, path):
        _check(_lib.ksigil_remove(self._handle, _c_text(path)))

    def remove_tree(self, path):
        _check(_lib.ksigil_remove_tree(self._handle, _c_text(path)))

    def read(self, path, offset, length):
        if _size(length) > MAX_FILE_SIZE:
            raise Error(INVALID_ARGUMENT, "no file is so long")
        buffer = ctypes.create_string_buffer(length)
        _check(_lib.ksigil_read(self._handle, _c_text(path), _size(offset), buffer, length))
        return buffer.raw

    def read_file(self, path):
        buffer = ctypes.create_string_buffer(MAX_FILE_SIZE)
        length = ctypes.c_size_t()
        _check(_lib.ksigil_read_file(self._handle, _c_text(path), buffer, len(buffer),
                                     ctypes.byref(length)))
        return buffer.raw[:length.value]

    def write(self, path, offset, content):
        _check(_lib.ksigil_write(self._handle, _c_text(path), _size(offset), *_bytes(content)))

    def write_file(self, path, content):
        _check(_lib.ksigil_write_file(self._handle, _c_text(path), *_bytes(content)))

    def write_key(self, path, value):
        _check(_lib.ksigil_write_key(self._handle, _c_text(path), *_bytes(value)))

    def encrypt(self, path, content):
        return self._cipher(_lib.ksigil_encrypt, content, _c_text(path))

    def decrypt(self, path, content):
        return self._cipher(_lib.ksigil_decrypt, content, _c_text(path))

    def protector_encrypt(self, content):
        return self._cipher(_lib.ksigil_protector_encrypt, content)

    def protector_decrypt(self, content):
        return self._cipher(_lib.ksigil_protector_decrypt, content)

    def _cipher(self, function, content, *key):
        whole, size = _bytes(content)
        output = ctypes.create_string_buffer(size + _MOST_PADDING)
        length = ctypes.c_size_t()
        _check(function(self._handle, *key, whole, size, output, len(output),
                        ctypes.byref(length)))
        return output.raw[:length.value]

    def protector(self):
        found = _library.Protector()
        _check(_lib.ksigil_get_protector(self._handle, ctypes.byref(found)))
        return Protector(bool(found.has_entry), bool(found.has_directory), bool(found.has_key),
                         _text(found.directory), _text(found.key))

    def prepare_protector(self):
        """Returns whether the key was made without a random source, and keeps nothing secret."""
        is_weak = ctypes.c_int()
        _check(_lib.ksigil_prepare_protector(self._handle, ctypes.byref(is_weak)))
        return bool(is_weak.value)

    def entries(self):
        """The application entries, as a list of pairs of id and content."""
        return [(entry.id, bytes(entry.content)) for entry in
                _listed(_library.Entry, MAX_ENTRIES,
                        lambda *room: _lib.ksigil_list_entries(self._handle, *room))]

    def get_entry(self, id):
        content = ctypes.create_string_buffer(ENTRY_LENGTH)
        _check(_lib.ksigil_get_entry(self._handle, _number(id, 32), content))
        return content.raw

    def set_entry(self, id, content):
        whole, size = _bytes(content)
        if size != ENTRY_LENGTH:
            raise Error(INVALID_ARGUMENT, "an entry's content has 4 bytes")
        _check(_lib.ksigil_set_entry(self._handle, _number(id, 32), whole))

    def remove_entry(self, id):
        _check(_lib.ksigil_remove_entry(self._handle, _number(id, 32)))

    def find_directory(self, first=0x1000):
        found = ctypes.c_uint16()
        _check(_lib.ksigil_find_directory(self._handle, _number(first, 16), ctypes.byref(found)))
        return found.value


# ctypes cuts a number to its type in silence.
def _number(value, bits):
    if not 0 <= value < 1 << bits:
        raise Error(INVALID_ARGUMENT, f"{value} is no number of {bits} bits")
    return value


def _size(value):
    return _number(value, 32)
