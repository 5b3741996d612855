#pragma once

#include <QtGlobal>

// What leaves each shared library. CMake defines <target>_EXPORTS while it builds that target.

#ifdef OrvaneCloudInterfaces_EXPORTS
#define ORVANE_INTERFACES_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_INTERFACES_EXPORT Q_DECL_IMPORT
#endif

#ifdef OrvaneCloudManager_EXPORTS
#define ORVANE_MANAGER_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_MANAGER_EXPORT Q_DECL_IMPORT
#endif

#ifdef OrvaneCloudProtocol_EXPORTS
#define ORVANE_PROTOCOL_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_PROTOCOL_EXPORT Q_DECL_IMPORT
#endif

#ifdef OrvaneCloudHost_EXPORTS
#define ORVANE_HOST_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_HOST_EXPORT Q_DECL_IMPORT
#endif
