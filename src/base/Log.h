#pragma once
#include <QDebug>
#include <QLoggingCategory>
#include <QMessageLogger>
#include <QString>
#include <utility>

/// Name of this library, as the log's file field carries it.
namespace DllInfo {
inline constexpr const char *sDllName = "libTARN.VisualizedService.so";
}

/// One finished line at a level: VT_LOG(info) << text; the levels are debug, info, warning and critical. File field:
/// the library's name; function field: the caller's bare name (so a lambda does not log); category "default". Used
/// instead of qInfo(), which loses file and function in release builds. Control characters become blanks.
#define VT_LOG(level) VT_LOG_AS(level, __func__)
/// The same under another function's name, a const char *.
#define VT_LOG_AS(level, function)                                                                                     \
    for (bool vtIsOn = tarn::visualized::vtlog::isOn(tarn::visualized::vtlog::level); vtIsOn; vtIsOn = false)          \
    tarn::visualized::vtlog::Line(QMessageLogger(DllInfo::sDllName, __LINE__, function).level().noquote())

namespace tarn::visualized::vtlog {

constexpr QtMsgType debug = QtDebugMsg, info = QtInfoMsg, warning = QtWarningMsg, critical = QtCriticalMsg;

/// Qt itself asks this only after the whole line is built.
inline bool isOn(QtMsgType level)
{
    const QLoggingCategory *category = QLoggingCategory::defaultCategory(); // null while the process exits
    return !category || category->isEnabled(level);
}

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

} // namespace tarn::visualized::vtlog
