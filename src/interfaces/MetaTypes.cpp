#include "MetaTypes.h"

namespace Orvane::PDF {

void RegisterMetaTypes()
{
    qRegisterMetaType<std::string>();
    qRegisterMetaType<FileInfo::PreviewSize>();
    qRegisterMetaType<std::shared_ptr<FileInfo>>();
    qRegisterMetaType<std::shared_ptr<const FileInfo>>();
    qRegisterMetaType<QList<std::shared_ptr<FileInfo>>>();
}

} // namespace Orvane::PDF
