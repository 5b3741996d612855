#include "support/Properties.h"

#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyValues.h>

using namespace Orvane;
using Fuzzing::Require;

/// Takes the input for the value of getetag, and for the note that an upload leaves.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    Social::DavResource resource;
    Social::SetProperty(resource, Social::MultiStatusPlace::EntityTag, input);
    const auto version = Social::DocumentVersion::Of(resource);
    Fuzzing::RequireSafeTags(version);
    Require(version.entityTag.isEmpty() || version.IsSameAs(version), "a version is the same as itself");

    const QByteArray md5 = "0123456789abcdef0123456789abcdef";
    const auto note = Social::Md5NoteOf(md5, static_cast<qint64>(size), version.entityTag);
    Require(note.isEmpty() == version.entityTag.isEmpty(), "a note is made wherever a tag vouches for it");
    Require(note.isEmpty() || Social::Md5InNote(note, static_cast<qint64>(size), version.entityTag) == md5,
            "a note is read as it was written");
    Require(!note.contains('<') && !note.contains('&') && !Fuzzing::HasControlCharacter(note),
            "a note needs no escapes in XML");
    const auto found = Social::Md5InNote(input, static_cast<qint64>(size), version.entityTag);
    Require(found.isEmpty() || Social::NormalizedMd5(found) == found, "a note holds an MD5 or nothing");
    return 0;
}
