#pragma once
#include "base/DllInfo.h"
#include <QDebug>
#include <QMessageLogger>
#include <QString>
#include <utility>

/// One finished line at a level: VT_LOG(info) << text; the levels are debug, info, warning and critical. File field:
/// the library's name; function field: the caller's bare name (so a lambda does not log); category "default". Used
/// instead of qInfo(), which loses file and function in release builds. Control characters become blanks.
#define VT_LOG(level) VT_LOG_AS(level, __func__)
/// The same under another function's name, a const char *.
#define VT_LOG_AS(level, function)                                                                                     \
    tarn::visualized::vtlog::Line(QMessageLogger(DllInfo::sDllName, __LINE__, function).level().noquote())

namespace tarn::visualized::vtlog {

/// A text from outside stays within its line: a line break would begin a line that looks like one of the log's, and a
/// NUL would cut the line short.
inline QString oneLine(QString text)
{
    for (int i = 0; i < text.size(); ++i) {
        const QChar::Category category = text.at(i).category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph)
            text[i] = QLatin1Char(' ');
    }
    return text;
}

class Line final
{
public:
    explicit Line(QDebug stream)
        : m_stream(std::move(stream))
    {
    }
    void operator<<(const QString &text) { m_stream << oneLine(text); }

private:
    QDebug m_stream; // its destructor writes the line
};

/// The sentence about a service call that failed. Texts from outside are inserted by one arg() call: a chain of arg()
/// would replace a "%1" inside the first of them.
/// @param where the bracketed place and the call, e.g. "【检测升级窗口】调用忽略升级接口"
/// @param transport true: the call failed on the way; false: the service refused
inline QString callFailed(const QString &where, bool transport, int code, const QString &error)
{
    return transport
               ? QStringLiteral("%1rpc通信失败，返回错误码为：%2，错误信息为：%3。")
                     .arg(where, QString::number(code), error)
               : QStringLiteral("%1失败。返回错误码为：%2，错误信息为：%3。").arg(where, QString::number(code), error);
}

} // namespace tarn::visualized::vtlog
