#include <OrvaneCloudProtocol/transports/NewDocumentName.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <algorithm>

namespace Orvane::Social {

namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kExtensionLength = 4;

std::string_view CutTo(std::size_t bytes, std::string_view text)
{
    std::size_t end = 0;
    while (end < text.size()) {
        const auto length = std::max<std::size_t>(LeadingCharacterLength(text.substr(end)), 1);
        if (end + length > bytes) {
            break;
        }
        end += length;
    }
    return text.substr(0, end);
}

} // namespace

std::string NumberedName(std::string_view documentName, int number)
{
    if (number < 2) {
        return std::string(documentName);
    }
    const auto stem = documentName.substr(0, documentName.size() - kExtensionLength);
    const auto extension = documentName.substr(stem.size());
    const auto end = " (" + std::to_string(number) + ")" + std::string(extension);
    return std::string(CutTo(kLongestName - end.size(), stem)) + end;
}

void RequireNameOfNewDocument(const std::filesystem::path& source)
{
    if (!IsDocumentName(source.filename().string())) {
        throw CloudError(
            FailureCode::Refused,
            Support::ToText(source) +
                QStringLiteral(": only files whose names end in \".pdf\" and do not begin with \".\" "
                               "can become documents"));
    }
}

} // namespace Orvane::Social
