#include "AbstractCloudManager.h"

namespace Orvane::PDF {

AbstractCloudManager::AbstractCloudManager()
{
    RegisterMetaTypes();
}

AbstractCloudManager::~AbstractCloudManager() = default;

} // namespace Orvane::PDF
