#include "support/Properties.h"

#include <support/NumberedName.h>

#include <string>

namespace {

using namespace Orvane;
using Fuzzing::Require;

void RequireReadable(const std::string& name)
{
    const QString readable = Social::ReadableNameOf(name);
    Require(!readable.contains(QLatin1Char('/')) && !readable.contains(QLatin1Char('\\')) &&
                !readable.contains(QChar(u'\0')),
            "a name for people is one part of a path");
}

void RequireNumbered(const std::string& name, int number)
{
    const auto numbered = Support::NumberedName(name, number);
    Require(numbered.size() <= 255, "a numbered name fits into a directory");
    Require(numbered.find(" (" + std::to_string(number) + ")") != std::string::npos,
            "a numbered name has its number");
    const auto next = Support::NumberedName(name, number + 1);
    Require(numbered != next, "the next number gives another name");
    const bool isDocument = Social::IsDocumentName(name);
    Require(!isDocument || Social::IsDocumentName(numbered), "a document stays one under a number");
}

} // namespace

/// Takes the input for the name of a document, and for an id.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    RequireReadable(input);
    const QString id = Social::DocumentIdOf(input);
    Require(Social::IsDocumentId(id) == Social::IsDocumentName(input), "names of documents have ids");
    if (Social::IsDocumentName(input)) {
        Fuzzing::RequireSafeId(id);
        Require(Social::DocumentNameOf(id) == input, "an id leads back to its name");
        RequireNumbered(input, 2 + static_cast<int>(size % 9'998));
    }
    const QString text = QString::fromUtf8(input.data(), static_cast<int>(input.size()));
    Require(Social::IsDocumentId(text) == Social::DocumentNameOf(text).has_value(),
            "both ways to ask for an id agree");
    if (Social::IsDocumentId(text))
        Fuzzing::RequireSafeId(text);
    return 0;
}
