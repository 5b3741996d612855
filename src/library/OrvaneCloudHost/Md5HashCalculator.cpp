#include "Md5HashCalculator.h"

#include <support/HashMemory.h>
#include <support/PathText.h>

#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

// The end of one transfer asks several times, one after the other, about a file that has just been written.
Support::HashMemorySettings Settings()
{
    Support::HashMemorySettings settings;
    settings.youngFileMemory = std::chrono::milliseconds(100);
    return settings;
}

} // namespace

class Md5HashCalculator::Private
{
public:
    Private(const QString& databaseFile, IsCanceled canceled)
        : isCanceled(std::move(canceled))
        , memory(Support::ToPath(databaseFile), Settings())
    {}

    const IsCanceled isCanceled;
    Support::HashMemory memory;
};

Md5HashCalculator::Md5HashCalculator(const QString& databaseFile, IsCanceled isCanceled)
    : d(std::make_unique<Private>(databaseFile, std::move(isCanceled)))
{}

Md5HashCalculator::~Md5HashCalculator() = default;

std::string Md5HashCalculator::CalculateFileHash(const ioPath& path)
{
    return d->memory.HashOf(path.utf8string(), d->isCanceled);
}

} // namespace Orvane::PDF::Cloud
