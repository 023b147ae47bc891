#include "base/RegularFile.h"
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::visualized {

bool openRegular(QFile &file, const QString &path, QString *error)
{
    const auto fail = [error](const QString &reason) {
        if (error)
            *error = reason;
        return false;
    };
    if (path.isEmpty() || path.contains(QChar(0)))
        return fail(QStringLiteral("路径无效"));
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    struct stat info = {};
    const bool isRegular = ::fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode);
    if (isRegular && file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return true;
    ::close(descriptor);
    return fail(isRegular ? file.errorString() : QStringLiteral("不是普通文件"));
}

} // namespace tarn::visualized
