"""A broker for one client that does what a test tells it to, well behaved or not."""

import socket

CONNECT, SUBSCRIBE = 1, 8
GRANTED, NOT_AUTHORIZED = 1, 0x87


class ScriptedBroker:
    """Listens on a free port. Every wait ends after half a minute."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=0)
        self.listener.settimeout(30)
        self.port = self.listener.getsockname()[1]
        self.client = None
        self.stuck = []

    def close(self):
        for connection in (self.client, self.listener, *self.stuck):
            if connection:
                connection.close()

    def accept(self, answer=b"\x20\x03\x00\x00\x00"):
        """Takes the next connection and answers its CONNECT."""
        self.hang_up()
        self.client, _ = self.listener.accept()
        self.client.settimeout(30)
        self.expect(CONNECT)
        self.client.sendall(answer)

    def take_subscription(self, code):
        """Answers each filter of the subscription with `code`."""
        body = self.expect(SUBSCRIBE)
        self.client.sendall(b"\x90\x05" + body[:2] + b"\x00" + bytes([code, code]))

    def hang_up(self, farewell=b""):
        if self.client:
            self.client.sendall(farewell)
            self.client.close()
        self.client = None

    def go_deaf(self):
        """From now on nobody is answered who wants to connect: the queue of those who wait is full."""
        while True:
            waiting = socket.socket()
            waiting.settimeout(1)
            self.stuck.append(waiting)
            try:
                waiting.connect(("127.0.0.1", self.port))
            except TimeoutError:
                return

    def expect(self, kind):
        """The body of the next packet, which is of this kind."""
        header, size, shift = self.read(1)[0], 0, 0
        while True:
            byte = self.read(1)[0]
            size |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                break
        assert header >> 4 == kind, header
        return self.read(size)

    def read(self, size):
        data = b""
        while len(data) < size:
            part = self.client.recv(size - len(data))
            assert part, "the client went away"
            data += part
        return data
