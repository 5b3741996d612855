#include <OrvaneCloudProtocol/previews/PageRenderer.h>

#include <OrvaneCloudProtocol/previews/BoundedImage.h>
#include <OrvaneCloudProtocol/previews/ConfinementChoice.h>
#include <OrvaneCloudProtocol/previews/LimitedProcess.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QStandardPaths>

namespace Orvane::Social {
namespace {

constexpr int kLongestDetail = 200;

QString FindHelper()
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("pdftoppm"));
    if (program.isEmpty())
        throw CloudError(FailureCode::Unsupported, QStringLiteral("pdftoppm is not installed"));
    return program;
}

QStringList HelperArguments(int edge)
{
    return {QStringLiteral("-cropbox"),  QStringLiteral("-singlefile"), QStringLiteral("-f"),
            QStringLiteral("1"),         QStringLiteral("-l"),          QStringLiteral("1"),
            QStringLiteral("-scale-to"), QString::number(edge),         InputPlaceholder()};
}

qint64 LargestPicture(int edge)
{
    constexpr qint64 kHeader = 64;
    constexpr qint64 kBytesPerPixel = 3;
    return kHeader + kBytesPerPixel * edge * edge;
}

CloudError NoPicture(const ProcessResult& result)
{
    const QByteArray firstLine = result.errorOutput.trimmed().split('\n').constFirst();
    const QString detail = QString::fromUtf8(firstLine).trimmed().left(kLongestDetail);
    return {FailureCode::InvalidDocument,
            detail.isEmpty() ? QStringLiteral("pdftoppm made no picture") : detail};
}

} // namespace

PageRenderer::PageRenderer(const RenderLimits& limits)
    : m_limits(limits)
{}

QImage PageRenderer::Render(const std::filesystem::path& document, int edge, const Job& job) const
{
    const auto helper = FindHelper();
    const auto confinement = m_limits.confinement ? *m_limits.confinement : UsedPreviewConfinement(job);
    const ProcessLimits limits = {m_limits.wallTime, m_limits.cpuTime, m_limits.memoryBytes,
                                  LargestPicture(edge), confinement};
    const ProcessResult result = RunLimited(helper, HelperArguments(edge), document, limits, job);
    // The exit code alone says little: some damaged documents end with 0 and without a picture.
    const QImage picture = result.hasSucceeded ? ReadBoundedImage(result.output, "ppm", edge) : QImage();
    if (picture.isNull())
        throw NoPicture(result);
    return picture;
}

} // namespace Orvane::Social
