"""What a hostile or broken server can answer."""

import itertools
import time
from dataclasses import dataclass
from typing import Callable

from commands import DOWNLOAD, LIST, UPLOAD
from webdav import PIECE, ROOT, Answer, collection_entry, document_entry, entry, listing

ENOUGH = 4 * 1024 ** 3  # bytes; more than anybody should take
GREAT_COUNT = 200_000
FILLER = b"x" * PIECE


@dataclass(frozen=True)
class Trick:
    """@param methods  of the requests that it answers
    @param play  gets the connection, the request and the honest answer
    @param is_true  whether the answer can be believed, so that what it says may come true"""

    name: str
    command: object
    methods: tuple
    play: Callable
    is_true: bool = False
    is_slow: bool = False
    is_refusal: bool = False  # the server has not done what it was asked for

    def concerns(self, request):
        return request.method in self.methods


def _endlessly(connection, make):
    sent = 0
    for number in itertools.count():
        piece = make(number)
        connection.send(piece)
        sent += len(piece)
        if sent > ENOUGH:
            return


def _answer(change):
    """A trick that changes the honest answer and sends it."""
    def play(connection, request, answer):
        changed = change(request, answer) or answer
        connection.send(changed.head() + changed.body)
    return play


def _raw(data):
    return lambda connection, _request, _answer: connection.send(data)


def _endless_body(connection, _request, answer):
    del answer.headers["Content-Length"]
    connection.send(answer.head())
    _endlessly(connection, lambda _: FILLER)


def _endless_chunks(connection, _request, answer):
    del answer.headers["Content-Length"]
    answer.headers["Transfer-Encoding"] = "chunked"
    connection.send(answer.head())
    _endlessly(connection, lambda _: b"%x\r\n" % len(FILLER) + FILLER + b"\r\n")


def _endless_trailers(connection, _request, answer):
    del answer.headers["Content-Length"]
    answer.headers["Transfer-Encoding"] = "chunked"
    connection.send(answer.head() + b"%x\r\n" % len(answer.body) + answer.body + b"\r\n0\r\n")
    _endlessly(connection, lambda number: b"X-%d: " % number + FILLER[:4000] + b"\r\n")


def _endless_head(connection, _request, _answer):
    connection.send(b"HTTP/1.1 200 OK\r\n")
    _endlessly(connection, lambda number: b"X-%d: " % number + FILLER[:4000] + b"\r\n")


def _endless_header_line(connection, _request, _answer):
    connection.send(b"HTTP/1.1 200 OK\r\nX: ")
    _endlessly(connection, lambda _: FILLER)


def _endless_continue(connection, _request, _answer):
    _endlessly(connection, lambda _: b"HTTP/1.1 100 Continue\r\n\r\n" * 1000)


def _endless_listing(connection, _request, answer):
    del answer.headers["Content-Length"]
    connection.send(answer.head() + listing([collection_entry()]).body.removesuffix(b"</D:multistatus>"))
    _endlessly(connection, lambda number: b"".join(
        document_entry(f"{number}-{one}.pdf", b"", '"tag"').encode() for one in range(100)))


def _great_listing(connection, _request, _answer):
    answer = listing([collection_entry(), *(document_entry(f"{number}.pdf", b"", '"tag"')
                                            for number in range(GREAT_COUNT))])
    answer.headers["Content-Length"] = len(answer.body)
    connection.send(answer.head() + answer.body)


def _endless_nesting(connection, _request, answer):
    del answer.headers["Content-Length"]
    connection.send(answer.head() + b'<?xml version="1.0"?><D:multistatus xmlns:D="DAV:">')
    _endlessly(connection, lambda _: b"<D:prop>" * 8000)


def _endless_name(connection, _request, answer):
    del answer.headers["Content-Length"]
    connection.send(answer.head() + b'<?xml version="1.0"?><D:multistatus xmlns:D="DAV:"><D:response><D:href>/dav/')
    _endlessly(connection, lambda _: FILLER)


def _in_drops(connection, _request, answer):
    for byte in answer.head() + answer.body:
        connection.send(bytes([byte]))
        time.sleep(0.5)


def _body_in_drops(connection, _request, answer):
    connection.send(answer.head())
    for start in range(0, len(answer.body), 15):
        connection.send(answer.body[start:start + 15])
        time.sleep(0.5)


def _silence(connection, _request, _answer):
    connection.rfile.read(1)  # until the client has had enough


def _silence_in_body(connection, _request, answer):
    connection.send(answer.head() + answer.body[:len(answer.body) // 2])
    connection.rfile.read(1)


def _reset(connection, _request, _answer):
    connection.reset()


def _reset_in_head(connection, _request, answer):
    head = answer.head()
    connection.send(head[:len(head) // 2])
    connection.reset()


def _reset_in_body(connection, _request, answer):
    connection.send(answer.head() + answer.body[:len(answer.body) // 2])
    connection.reset()


def _cut_body(_request, answer):
    answer.body = answer.body[:len(answer.body) // 2]
    answer.headers["Content-Length"] = len(answer.body)


def _long_body(_request, answer):
    answer.body += b"more"
    answer.headers["Content-Length"] = len(answer.body)


def _header(name, value):
    def change(_request, answer):
        answer.headers[name] = value
    return _answer(change)


def _status(status, **headers):
    return _answer(lambda _request, _answer: Answer(status, headers={"Content-Length": 0, **headers}))


def _redirect_onwards(request, _answer):
    return Answer(302, headers={"Content-Length": 0, "Location": request.path + "x"})


def _multistatus(*entries, before="", after=""):
    def change(_request, _answer):
        answer = listing([collection_entry(), *entries], before, after)
        answer.headers["Content-Length"] = len(answer.body)
        return answer
    return _answer(change)


def _named(href, size="3"):
    return entry(href, f"<D:resourcetype/><D:getcontentlength>{size}</D:getcontentlength><D:getetag>\"t\"</D:getetag>")


_LAUGHS = ('<!DOCTYPE l [<!ENTITY a "ha">' + "".join(
    f'<!ENTITY {chr(98 + depth)} "{f"&{chr(97 + depth)};" * 10}">' for depth in range(9)) + "]>")
_OUTSIDE = '<!DOCTYPE l [<!ENTITY o SYSTEM "file:///etc/passwd">]>'

_FOR_LISTINGS = {
    "a listing without end": _endless_listing,
    "elements in elements without end": _endless_nesting,
    "a name without end": _endless_name,
    "entities that multiply": _multistatus(_named(ROOT + "&j;.pdf"), before=_LAUGHS),
    "an entity from a file": _multistatus(_named(ROOT + "&o;.pdf"), before=_OUTSIDE),
    "no XML at all": _raw(b"HTTP/1.1 207 Multi\r\nContent-Length: 9\r\n\r\n\0\1\2\3\4\5\6\7\x08"),
    "a page for people": _raw(b"HTTP/1.1 200 OK\r\nContent-Length: 22\r\n\r\n<html>Welcome.</html>\n"),
    "XML that is cut": _answer(_cut_body),
    "text behind the XML": _multistatus(after="and more"),
    "an empty answer": _raw(b"HTTP/1.1 207 Multi\r\nContent-Length: 0\r\n\r\n"),
}
_TRUE_LISTINGS = {
    "names that lead out": _multistatus(*(_named(ROOT + name) for name in (
        "../out.pdf", "..%2fout.pdf", "%2e%2e/out.pdf", "%2fetc%2fout.pdf", "..", ".", "%00.pdf", "a%0ab.pdf",
        "-rf.pdf", "a%5c..%5cb.pdf"))),
    "names of a megabyte": _multistatus(_named(ROOT + "n" * 1024 ** 2 + ".pdf")),
    "names that are no UTF-8": _multistatus(_named(ROOT + "%ff%fe%c3.pdf")),
    "one name twice": _multistatus(_named(ROOT + "a.pdf"), _named(ROOT + "a.pdf", "4")),
    "sizes that are none": _multistatus(*(_named(f"{ROOT}{number}.pdf", size) for number, size in enumerate((
        "-1", "99999999999999999999", "1e9", "", "0x10", "9223372036854775807")))),
    "tags with ends of lines": _multistatus(entry(ROOT + "a.pdf", "<D:resourcetype/><D:getcontentlength>3"
                                                  "</D:getcontentlength><D:getetag>\"a&#13;&#10;X: y\"</D:getetag>")),
    f"{GREAT_COUNT:,} documents": _great_listing,
}
_FOR_DOWNLOADS = {
    "a body that is too long": _answer(_long_body),
    "a body that is too short": _answer(_cut_body),
    "a tag with ends of lines": _raw(b'HTTP/1.1 200 OK\r\nETag: "a\rX: y"\r\nContent-Length: 3\r\n\r\nabc'),
    "a tag of a megabyte": _header("ETag", '"' + "t" * 1024 ** 2 + '"'),
    "ranges that were not asked for": _answer(lambda _request, answer: Answer(
        206, answer.body, {**answer.headers, "Content-Range": "bytes 5-9/10"})),
    "a compressed body": _header("Content-Encoding", "gzip"),
    "a body without end": _endless_body,
    "chunks without end": _endless_chunks,
    "trailers without end": _endless_trailers,
    "a length that is none": _header("Content-Length", "many"),
    "a length of 2^63": _header("Content-Length", str(2 ** 63)),
}
_FOR_EVERYTHING = {
    "headers without end": _endless_head,
    "a header line without end": _endless_header_line,
    "interim answers without end": _endless_continue,
    "redirects in a circle": _answer(lambda request, _: Answer(
        302, headers={"Content-Length": 0, "Location": request.path})),
    "redirects without end": _answer(_redirect_onwards),
    "a redirect to elsewhere": _status(307, Location="http://localhost:9/dav/"),
    "a redirect to a file": _status(302, Location="file:///etc/passwd"),
    "no HTTP": _raw(b"SSH-2.0-server\r\n" * 100),
    "a status that is none": _status(999),
    "a reset at once": _reset,
    "a reset in the head": _reset_in_head,
    "a reset in the body": _reset_in_body,
}
_REFUSALS = {
    "500 for ever": _status(500),
    "503 for a hundred years": _status(503, **{"Retry-After": "3153600000"}),
    "sign-in refused": _status(401),
    "full": _status(507),
}
_SLOW = {
    "silence": _silence,
    "silence in the body": _silence_in_body,
    "an answer in drops": _in_drops,
    "a body in drops": _body_in_drops,
}


def all_tricks():
    everywhere = ((LIST, ("PROPFIND",)), (DOWNLOAD, ("GET",)), (UPLOAD, ("PUT",)), (UPLOAD, ("MOVE",)))
    for name, play in _FOR_LISTINGS.items():
        yield Trick(name, LIST, ("PROPFIND",), play)
    for name, play in _TRUE_LISTINGS.items():
        yield Trick(name, LIST, ("PROPFIND",), play, is_true=True)
    for name, play in _FOR_DOWNLOADS.items():
        yield Trick(name, DOWNLOAD, ("GET",), play)
    for command, methods in everywhere:
        for name, play in _FOR_EVERYTHING.items():
            yield Trick(name, command, methods, play)
        for name, play in _REFUSALS.items():
            yield Trick(name, command, methods, play, is_refusal=True)
        for name, play in _SLOW.items():
            yield Trick(name, command, methods, play, is_slow=True)
