"""The Python module on an embedded token of its own; LD_LIBRARY_PATH and PYTHONPATH lead to it."""
import os
import tempfile

folder = tempfile.TemporaryDirectory()
os.environ.update(KSIGIL_TOKEN=folder.name + "/token.db", KSIGIL_PCSC="embedded")
import ksigil  # noqa: E402


def code_of(work, *arguments):
    try:
        work(*arguments)
    except ksigil.Error as error:
        assert str(error) and error.text and error.reason, error.code
        return error.code
    return ksigil.OK


CONTENT = bytes(range(250)) * 10
with ksigil.open() as token, token.lock():
    assert [reader.has_token for reader in ksigil.readers()] == [True]
    token.login(bytearray(b"1234"))
    token.change_password(b"a\0b")
    token.make_directory("3f001000")
    token.make_file("3f0010000001", len(CONTENT), private=True)
    token.make_key("3f0010000002", two_factor=True)
    token.write_key("3f0010000002", bytes(16))
    token.write_file("3f0010000001", memoryview(CONTENT))
    token.write("3f0010000001", 1, b"\0\xff")
    assert token.read("3f0010000001", 0, 4) == b"\0\0\xff\3"
    assert token.read_file("3f0010000001")[3:] == CONTENT[3:]
    assert token.decrypt("3F0010000002", token.encrypt("3f0010000002", b"a\0")) == b"a\0"
    assert token.prepare_protector() is False
    assert token.protector_decrypt(token.protector_encrypt(b"")) == b""
    assert token.protector() == (True, True, True, "3f003000", "3f0030000001")
    token.set_entry(7, b"1000")
    assert token.get_entry(7) == b"1000" and token.entries()[1] == (7, b"1000")
    token.remove_entry(7)
    assert token.find_directory() == 0x1001
    assert token.object("3f0010000001") == (1, ksigil.FILE, ksigil.PRIVATE, 2500)
    assert [child.size for child in token.list("3f001000")] == [2500, 24]
    assert token.info().bytes_used == 2500 + 24 + 24 + 39 and len(token.info().serial) == 8
    for expected, *call in [
            (ksigil.NOT_EMPTY, token.remove, "3f001000"),
            (ksigil.INVALID_ARGUMENT, token.remove, "3f00\0"),
            (ksigil.INVALID_ARGUMENT, token.read, "3f0010000001", -1, 4),
            (ksigil.INVALID_ARGUMENT, token.read, "3f0010000001", 1 << 64, 4),
            (ksigil.INVALID_ARGUMENT, token.set_entry, 1 << 32, b"1000"),
            (ksigil.INVALID_ARGUMENT, token.set_entry, 7, b"100"),
            (ksigil.UNKNOWN_READER, ksigil.open, "no such reader")]:
        assert code_of(*call) == expected, call

    def interrupt(done, total):
        raise KeyboardInterrupt

    ksigil.set_progress(interrupt)
    try:
        token.read_file("3f0010000001")
        raise AssertionError("the interrupt was lost")
    except KeyboardInterrupt:
        ksigil.set_progress(lambda done, total: done > 1000)
    assert code_of(token.read_file, "3f0010000001") == ksigil.CANCELLED
    ksigil.set_progress(None)
    token.remove_tree("3f00")
    token.logout()

assert code_of(token.logout) == ksigil.INVALID_HANDLE
