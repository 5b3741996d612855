"""A small WebDAV server in this process that keeps to the rules until it is told to play a trick."""

import socket
import socketserver
import threading
from dataclasses import dataclass, field
from email.utils import formatdate
from urllib.parse import quote, unquote, urlsplit
from xml.sax.saxutils import escape

ROOT = "/dav/"
PIECE = 64 * 1024


@dataclass
class Request:
    method: str
    path: str
    headers: dict
    body: bytes


@dataclass
class Answer:
    status: int
    body: bytes = b""
    headers: dict = field(default_factory=dict)

    def head(self):
        lines = [f"HTTP/1.1 {self.status} Text", *(f"{name}: {value}" for name, value in self.headers.items())]
        return "\r\n".join(lines).encode() + b"\r\n\r\n"


class ScriptedCloud:
    """Its documents lie in memory. @param _place  of no use here"""

    options = ()
    environment = {"ORVANE_CLOUD_TOKEN": "a-token"}
    tells_contents = False

    def __init__(self, _place):
        self._documents = {}
        self._saved = {}
        self._version = 0
        self._guard = threading.Lock()
        self._server = _Listener(self)
        self.address = f"http://127.0.0.1:{self._server.server_address[1]}{ROOT}"
        self.trick = None
        self.sent = 0  # bytes, since the last trick began
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def files(self):
        with self._guard:
            return {name: content for name, (content, _) in self._documents.items()}

    def save(self, _place):
        self._saved = dict(self._documents)

    def restore(self, _place):
        self.trick = None
        self._documents = dict(self._saved)

    def play(self, trick):
        self.trick, self.sent = trick, 0

    def close(self):
        self._server.shutdown()
        self._server.server_close()

    def answer(self, request):
        """What an honest server says."""
        with self._guard:
            answer = getattr(self, f"_{request.method.lower()}", _not_allowed)(request)
        answer.headers = {"Content-Length": len(answer.body), "Date": formatdate(usegmt=True), **answer.headers}
        return answer

    def _propfind(self, request):
        name = _name_in(request.path)
        if name and name not in self._documents:
            return Answer(404)
        entries = [] if name else [collection_entry()]
        names = [name] if name else sorted(self._documents) if request.headers.get("depth") == "1" else []
        return listing(entries + [document_entry(one, *self._documents[one]) for one in names])

    def _get(self, request):
        found = self._documents.get(_name_in(request.path))
        return Answer(404) if found is None else Answer(200, found[0], {"ETag": found[1]})

    def _put(self, request):
        name = _name_in(request.path)
        is_new = name not in self._documents
        self._documents[name] = (request.body, self._new_tag())
        return Answer(201 if is_new else 204)

    def _move(self, request):
        source = _name_in(request.path)
        target = _name_in(urlsplit(request.headers["destination"]).path)
        if source not in self._documents:
            return Answer(404)
        if target in self._documents and request.headers.get("overwrite") == "F":
            return Answer(412)
        is_new = target not in self._documents
        self._documents[target] = self._documents.pop(source)
        return Answer(201 if is_new else 204)

    def _delete(self, request):
        return Answer(204 if self._documents.pop(_name_in(request.path), None) else 404)

    def _new_tag(self):
        self._version += 1
        return f'"version-{self._version}"'


def _not_allowed(_request):
    return Answer(405)


def _name_in(path):
    return unquote(path.removeprefix(ROOT))


def collection_entry():
    return entry(ROOT, "<D:resourcetype><D:collection/></D:resourcetype>")


def document_entry(name, content, tag):
    return entry(ROOT + quote(name), f"<D:resourcetype/><D:getcontentlength>{len(content)}</D:getcontentlength>"
                 f"<D:getetag>{escape(tag)}</D:getetag>"
                 "<D:getlastmodified>Sun, 22 Nov 2026 21:04:05 GMT</D:getlastmodified>")


def entry(href, properties):
    return (f"<D:response><D:href>{href}</D:href><D:propstat><D:prop>{properties}</D:prop>"
            "<D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>")


def listing(entries, before="", after=""):
    text = (f'<?xml version="1.0" encoding="utf-8"?>{before}'
            f'<D:multistatus xmlns:D="DAV:">{"".join(entries)}</D:multistatus>{after}')
    return Answer(207, text.encode(), {"Content-Type": "application/xml; charset=utf-8"})


class _Listener(socketserver.ThreadingTCPServer):
    daemon_threads = True
    block_on_close = False

    def __init__(self, cloud):
        self.cloud = cloud
        super().__init__(("127.0.0.1", 0), _Connection)


class _Connection(socketserver.StreamRequestHandler):
    disable_nagle_algorithm = True

    def handle(self):
        try:
            while self._handle_one():
                pass
        except OSError:
            pass  # the client has gone

    def _handle_one(self):
        request = self._read()
        if request is None:
            return False
        cloud, trick = self.server.cloud, self.server.cloud.trick
        if trick is None or not trick.concerns(request):
            answer = cloud.answer(request)
            self.send(answer.head() + answer.body)
            return True
        trick.play(self, request, None if trick.is_refusal else cloud.answer(request))
        return False

    def _read(self):
        line = self.rfile.readline(PIECE).split()
        if len(line) < 2:
            return None
        headers = {}
        while (text := self.rfile.readline(PIECE).decode("latin-1").strip()):
            name, _, value = text.partition(":")
            headers[name.lower()] = value.strip()
        body = self.rfile.read(int(headers.get("content-length", 0)))
        return Request(line[0].decode(), line[1].decode(), headers, body)

    def send(self, data):
        self.request.sendall(data)
        self.server.cloud.sent += len(data)

    def reset(self):
        """Ends the connection with a reset in place of a farewell."""
        self.request.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
        self.request.close()
