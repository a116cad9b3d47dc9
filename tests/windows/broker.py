#!/usr/bin/env python3
"""A resource manager of one reader, for programs under Wine, and that reader's driver.

Prints the port for its users, who speak as winscard.cpp does, and that for `ksigil-token serve`. The
token keeps its power between two users. A user who goes away within a transaction has it reset.
"""
import select
import socket
import socketserver
import threading

GOOD, NO_TOKEN, NOT_HELD, RESET, REMOVED = 0, 0x8010000C, 0x80100016, 0x80100068, 0x80100069
POWER_ON, RESET_TOKEN, GIVE_ATR = b"\1", b"\2", b"\4"  # a driver's words to its token


def is_gone(stream):
    """Whether the far end, which has nothing to say now, has closed the stream."""
    try:
        return bool(select.select([stream], [], [], 0)[0]) and not stream.recv(1, socket.MSG_PEEK)
    except OSError:
        return True


class Reader:
    turn = threading.Condition()  # held over all that follows, and told when a transaction ends
    token = None  # the stream to the token, while it is in
    insertions = resets = 0
    holder = None  # the user in a transaction

    def serve(self, driver):
        while True:
            token, _ = driver.accept()
            with self.turn:
                self.token = token
                self.insertions += 1
                self.send(POWER_ON)
                self.send(GIVE_ATR, has_reply=True)
            while self.token:
                select.select([token], [], [])
                with self.turn:
                    if is_gone(token):
                        self.token = None
                        self.release()

    def send(self, message, has_reply=False):
        """The reply, empty without one and from a token that goes away, which `serve` notices."""
        try:
            self.token.sendall(len(message).to_bytes(2, "big") + message)
            with self.token.makefile("rb") as stream:
                return stream.read(int.from_bytes(stream.read(2), "big")) if has_reply else b""
        except OSError:
            return b""

    def release(self):
        self.holder = None
        self.turn.notify_all()


reader = Reader()


class User(socketserver.StreamRequestHandler):
    """One connection to the token. Its words are the methods without an underscore."""

    _seen = None  # the insertion and the reset that it knows of

    def handle(self):
        try:
            for line in self.rfile:
                word, *arguments = line.decode().split()
                with reader.turn:
                    result, data = getattr(self, word)(*arguments)
                self.wfile.write(f"{result:x} {data}\n".encode())
        except OSError:
            pass  # the user is gone
        with reader.turn:
            if reader.holder is self:
                self._settle("reset")

    def _await_turn(self):
        while reader.holder not in (None, self):
            if not reader.turn.wait(0.1) and is_gone(self.connection):
                raise ConnectionError
        if not reader.token or self._seen[0] != reader.insertions:
            return REMOVED
        return GOOD if self._seen[1] == reader.resets else RESET

    def _settle(self, disposition):
        if disposition != "0" and reader.token:
            reader.resets += 1
            reader.send(RESET_TOKEN)
        if reader.holder is self:
            reader.release()
        return self.connect()

    def look(self):
        return GOOD, int(reader.token is not None)

    def connect(self):
        self._seen = (reader.insertions, reader.resets)
        return GOOD if reader.token else NO_TOKEN, ""

    def reconnect(self, disposition):
        self._await_turn()
        return self._settle(disposition)

    def disconnect(self, disposition):
        self.reconnect(disposition)
        return GOOD, ""

    def begin(self):
        result = self._await_turn()
        if result == GOOD:
            reader.holder = self
        return result, ""

    def end(self, disposition):
        result = self._await_turn() or (GOOD if reader.holder is self else NOT_HELD)
        return self._settle(disposition) if result == GOOD else (result, "")

    def transmit(self, command):
        result = self._await_turn()
        if result != GOOD:
            return result, ""
        reply = reader.send(bytes.fromhex(command), has_reply=True)
        return GOOD if reply else REMOVED, reply.hex()


driver = socket.create_server(("127.0.0.1", 0))
users = socketserver.ThreadingTCPServer(("127.0.0.1", 0), User)
print(users.server_address[1], driver.getsockname()[1], flush=True)
threading.Thread(target=reader.serve, args=(driver,), daemon=True).start()
users.serve_forever()
