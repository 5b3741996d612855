#include <OrvaneCloudProtocol/transports/NewDocumentName.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

namespace Orvane::Social {

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
