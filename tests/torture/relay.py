"""A relay between the tool and a server, which counts what passes and disturbs it.

What happens is told by events: (what is counted, number, action). Counted are "command" (lines that the client
sends on control connections; on SFTP whatever arrives at once), "byte" (bytes on data connections, both ways) and
"data" (data connections). An action is called in the relay's thread before what was counted is passed on, with the
connection and the line; it may call `connection.cut()`, `connection.stall()` or return bytes, which the client gets
in the place of the server's answer.
"""
import asyncio
import re
import struct
import threading
from socket import SO_LINGER, SOL_SOCKET

CHUNK = 65536


class Connection:
    """One connection of the client and its counterpart of the server."""

    def __init__(self, relay, client_writer, server_writer):
        self.relay = relay
        self.writers = [client_writer, server_writer]
        self.flows = asyncio.Event()
        self.flows.set()

    def cut(self):
        """Both ends see a reset; an orderly end would pass for the end of a listing."""
        for writer in self.writers:
            socket = writer.get_extra_info("socket")
            if socket is not None and socket.fileno() >= 0:
                socket.setsockopt(SOL_SOCKET, SO_LINGER, struct.pack("ii", 1, 0))
            writer.transport.abort()

    def close(self):
        for writer in self.writers:
            writer.close()

    def stall(self):
        """Nothing passes any more, and nothing is closed."""
        self.flows.clear()


class Relay:
    """Listens on `port` until end() and passes everything on to `server_port`."""

    def __init__(self, server_port, ftp=True):
        """`ftp`: control connections are read line by line, and data connections are relayed too."""
        self.server_port = server_port
        self.ftp = ftp

        self.reset()
        self.ready = threading.Event()
        self.thread = threading.Thread(target=lambda: asyncio.run(self._main()), daemon=True)
        self.thread.start()
        self.ready.wait()

    def reset(self):
        """Forgets events and counters."""
        self.events = []
        self.counts = {"command": 0, "byte": 0, "data": 0}
        self.errors = []
        self.commands = []
        self.rule = None  # asked for every command: (connection, line) -> None or an answer
        self.reply_rule = None  # asked for every line of a server's answer: line -> line
        self.rate = 0  # bytes per second of a data connection; 0: no limit

    def arm(self, counted, number, action):
        self.events.append((counted, number, action))

    async def _main(self):
        self.loop = asyncio.get_running_loop()
        self.done = asyncio.Event()
        server = await asyncio.start_server(self._control, "127.0.0.1", 0, backlog=100)
        self.port = server.sockets[0].getsockname()[1]
        self.control_connections = set()
        self.data_connections = set()
        self.ready.set()
        await self.done.wait()
        server.close()
        self._drop()
        tasks = [task for task in asyncio.all_tasks() if task is not asyncio.current_task()]
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)

    def end(self):
        self.loop.call_soon_threadsafe(self.done.set)
        self.thread.join()

    def drop_all(self):
        """Cuts every connection that is left."""
        done = threading.Event()
        self.loop.call_soon_threadsafe(lambda: (self._drop(), done.set()))
        done.wait()

    def _drop(self):
        for connection in self.control_connections | self.data_connections:
            connection.cut()
            connection.flows.set()

    def _count(self, counted, amount, connection, line=b""):
        """Runs what is due; answers what the client is to get at once."""
        before = self.counts[counted]
        self.counts[counted] = before + amount
        answer = None
        for event in [e for e in self.events if e[0] == counted and before < e[1] <= before + amount]:
            self.events.remove(event)
            try:
                answer = event[2](connection, line) or answer
            except Exception as problem:  # shown by whoever armed it
                self.errors.append(problem)
        return answer

    async def _connect(self, port, reader, writer):
        try:
            return await asyncio.open_connection("127.0.0.1", port)
        except OSError:
            writer.transport.abort()
            return None, None

    async def _control(self, reader, writer):
        server_reader, server_writer = await self._connect(self.server_port, reader, writer)
        if server_writer is None:
            return
        connection = Connection(self, writer, server_writer)
        self.control_connections.add(connection)
        try:
            await asyncio.gather(self._commands(connection, reader, writer, server_writer),
                                 self._replies(connection, server_reader, writer))
        finally:
            self.control_connections.discard(connection)
            connection.close()

    async def _next(self, reader):
        """A line of FTP, or what came of anything else."""
        if not self.ftp:
            return await reader.read(CHUNK)
        try:
            return await reader.readuntil(b"\n")
        except asyncio.IncompleteReadError as rest:
            return rest.partial
        except asyncio.LimitOverrunError:
            return await reader.read(CHUNK)

    async def _commands(self, connection, reader, writer, server_writer):
        try:
            while line := await self._next(reader):
                if self.ftp:
                    self.commands.append(line.rstrip(b"\r\n"))
                answer = self._count("command", 1, connection, line)
                if answer is None and self.rule is not None:
                    answer = self.rule(connection, line.rstrip(b"\r\n"))
                await connection.flows.wait()
                if answer is None:
                    server_writer.write(line)
                    await server_writer.drain()
                else:
                    writer.write(answer)
                    if answer.startswith(b"421"):
                        await writer.drain()
                        connection.close()
            server_writer.close()
        except OSError:
            connection.cut()

    async def _replies(self, connection, reader, writer):
        try:
            while line := await self._next(reader):
                if self.ftp:
                    line = await self._with_own_port(line)
                    if self.reply_rule is not None:
                        line = self.reply_rule(line)
                await connection.flows.wait()
                writer.write(line)
                await writer.drain()
            writer.close()
        except OSError:
            connection.cut()

    async def _with_own_port(self, line):
        """The answer to PASV or EPSV with a port of the relay that leads to the server's."""
        extended = re.match(rb"229 .*\(\|\|\|(\d+)\|\)", line)
        plain = re.match(rb"227 .*?(\d+),(\d+),(\d+),(\d+),(\d+),(\d+)", line)
        if extended:
            port = await self._data_listener(int(extended[1]))
            return b"229 Extended passive mode (|||%d|)\r\n" % port
        if plain:
            port = await self._data_listener(int(plain[5]) * 256 + int(plain[6]))
            return b"227 Passive mode (127,0,0,1,%d,%d)\r\n" % (port >> 8, port & 255)
        return line

    async def _data_listener(self, server_port):
        async def serve(reader, writer):
            listener.close()
            server_reader, server_writer = await self._connect(server_port, reader, writer)
            if server_writer is None:
                return
            connection = Connection(self, writer, server_writer)
            self.data_connections.add(connection)
            self._count("data", 1, connection)
            try:
                await asyncio.gather(self._data(connection, reader, server_writer),
                                     self._data(connection, server_reader, writer))
            finally:
                self.data_connections.discard(connection)
                connection.close()

        listener = await asyncio.start_server(serve, "127.0.0.1", 0)
        # One that nobody comes to must not stay for ever.
        self.loop.call_later(60, listener.close)
        return listener.sockets[0].getsockname()[1]

    async def _data(self, connection, reader, writer):
        try:
            while block := await reader.read(CHUNK if not self.rate else max(1, self.rate // 20)):
                self._count("byte", len(block), connection)
                await connection.flows.wait()
                writer.write(block)
                await writer.drain()
                if self.rate:
                    await asyncio.sleep(len(block) / self.rate)
            writer.close()
        except OSError:
            connection.cut()
