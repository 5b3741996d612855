#include <OrvaneCloudProtocol/transports/FileFailure.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <cerrno>

namespace Orvane::Social {

namespace {

bool IsOutOfQuota([[maybe_unused]] const std::error_code& error)
{
#ifdef EDQUOT
    return error == std::error_code(EDQUOT, std::generic_category()).default_error_condition() ||
           error.value() == EDQUOT;
#else
    return false;
#endif
}

} // namespace

FailureCode FailureCodeOf(FileSide side, const std::error_code& error)
{
    if (side == FileSide::Local) {
        return FailureCode::LocalDisk;
    }
    if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
        return FailureCode::NotFound;
    }
    if (error == std::errc::no_space_on_device || IsOutOfQuota(error)) {
        return FailureCode::QuotaExceeded;
    }
    if (error == std::errc::timed_out) {
        return FailureCode::TimedOut;
    }
    const bool isRefused = error == std::errc::permission_denied ||
                           error == std::errc::operation_not_permitted ||
                           error == std::errc::read_only_file_system ||
                           error == std::errc::filename_too_long || error == std::errc::file_too_large ||
                           error == std::errc::invalid_argument || error == std::errc::is_a_directory;
    // The rest is trouble with the device or the share: input/output error, stale handle, host down.
    return isRefused ? FailureCode::Refused : FailureCode::Network;
}

void ThrowFileError(FileSide side, const std::filesystem::filesystem_error& error)
{
    ThrowFileError(side, error.path1(), error.code());
}

void ThrowFileError(FileSide side, const std::filesystem::path& path, const std::error_code& error)
{
    const QString detail =
        Support::ToText(path) + QStringLiteral(": ") + QString::fromStdString(error.message());
    throw CloudError(FailureCodeOf(side, error), detail);
}

} // namespace Orvane::Social
