#pragma once
#include <QtGlobal>

// Symbol visibility of the platform's shared libraries; each library defines its own TARN_BUILD_* while it is built.
#ifdef TARN_BUILD_CORE
#define TARN_CORE_EXPORT Q_DECL_EXPORT
#else
#define TARN_CORE_EXPORT Q_DECL_IMPORT
#endif
#ifdef TARN_BUILD_RPC
#define TARN_RPC_EXPORT Q_DECL_EXPORT
#else
#define TARN_RPC_EXPORT Q_DECL_IMPORT
#endif
