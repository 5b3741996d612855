#include "AbstractFileManager.h"

namespace Orvane::PDF {

AbstractFileManager::AbstractFileManager()
{
    RegisterMetaTypes();
}

AbstractFileManager::~AbstractFileManager() = default;

} // namespace Orvane::PDF
