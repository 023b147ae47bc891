#pragma once
#include "tarn/Export.h"
#include <QString>

namespace tarn::commkit {

/// Facts about the running program and its libraries.
class TARN_CORE_EXPORT LibToolkit
{
public:
    /// Absolute path of the directory that holds the platform's modules (the program's directory, unless the
    /// environment variable TARN_MODULE_PATH names another existing one); no trailing slash. Any thread.
    static QString getAppModulePath();
};

} // namespace tarn::commkit
