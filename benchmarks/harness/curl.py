"""curl, sending what our client sends."""

import itertools

from processes import measure

CONNECTIONS = 6  # as many as our client has

_NAMESPACES = 'xmlns:D="DAV:" xmlns:oc="http://owncloud.org/ns" xmlns:o="https://orvane.example/ns/cloud"'
_PROPFIND = f"""<?xml version="1.0" encoding="utf-8"?>
<D:propfind {_NAMESPACES}><D:prop><D:resourcetype/><D:getcontentlength/><D:getetag/><D:getlastmodified/>\
<D:creationdate/><oc:checksums/><o:content-md5/></D:prop></D:propfind>
"""
_PROPPATCH = f"""<?xml version="1.0" encoding="utf-8"?>
<D:propertyupdate {_NAMESPACES}><D:set><D:prop>\
<o:content-md5>d41d8cd98f00b204e9800998ecf8427e 50000 %22c350-624a6c1d2e3f4%22</o:content-md5>\
</D:prop></D:set></D:propertyupdate>
"""
_XML = ("header", "Content-Type: text/xml; charset=utf-8")


class Curl:
    """The bytes, and no more."""

    @staticmethod
    def list_members(cloud, collection, _count, scratch):
        return _run(cloud, scratch, [(("url", cloud.address(collection)), *_propfind(1, scratch))])

    @staticmethod
    def upload(cloud, collection, files, scratch):
        return _run(cloud, scratch, [
            (("url", cloud.address(collection) + file.name), ("upload-file", file), ("header", "Expect:"))
            for file in files
        ])

    @staticmethod
    def download(cloud, collection, names, target, scratch):
        return _run(cloud, scratch, [
            (("url", cloud.address(collection) + name), ("output", target / name)) for name in names
        ])


class CurlAsWeUpload:
    """Every request that our client makes for a file, in its order. One process cannot keep an order while it
    has several connections, so there are several processes, each with one and its share of the files."""

    @staticmethod
    def upload(cloud, collection, files, scratch):
        shares = [files[first::CONNECTIONS] for first in range(min(CONNECTIONS, len(files)))]
        commands = []
        for number, share in enumerate(shares):
            requests = [_upload_requests(cloud, collection, file, scratch) for file in share]
            commands.append(_command(cloud, scratch, f"share{number}", itertools.chain(*requests)))
        return measure(*commands)


def _upload_requests(cloud, collection, file, scratch):
    temporary = ("url", cloud.address(collection) + f".orvane-cloud-{int(file.stem):016x}.part")
    final = cloud.address(collection) + file.name
    yield temporary, ("upload-file", file), ("header", "Content-Type: application/pdf")
    yield temporary, *_propfind(0, scratch)
    if cloud.keeps_properties:
        note = _file(scratch, "note.xml", _PROPPATCH)
        yield temporary, ("request", "PROPPATCH"), _XML, ("data-binary", f"@{note}")
    yield temporary, ("request", "MOVE"), ("header", f"Destination: {final}"), ("header", "Overwrite: F")
    yield ("url", final), *_propfind(0, scratch)


def _propfind(depth, scratch):
    body = _file(scratch, "propfind.xml", _PROPFIND)
    return ("request", "PROPFIND"), ("header", f"Depth: {depth}"), _XML, ("data-binary", f"@{body}")


def _run(cloud, scratch, requests):
    parallel = ["--parallel", "--parallel-max", CONNECTIONS] if len(requests) > 1 else []
    return measure(_command(cloud, scratch, "requests", requests, *parallel))


def _command(cloud, scratch, name, requests, *options):
    always = (cloud.curl_credentials, ("fail", None), ("silent", None), ("show-error", None))
    config = "next\n".join(_config_of((*always, *_with_output(request))) for request in requests)
    return ["curl", "--fail-early", *options, "--config", _file(scratch, f"{name}.config", config)]


def _with_output(request):
    return request if "output" in dict(request) else (*request, ("output", "/dev/null"))


def _config_of(options):
    return "".join(f"{name}\n" if value is None else f'{name} = "{value}"\n' for name, value in options)


def _file(folder, name, content):
    path = folder / name
    path.write_text(content)
    return path
