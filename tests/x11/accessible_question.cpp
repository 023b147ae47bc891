// Asks one question, once the accessibility bus is connected, and prints its answer as "answer N"; another process reads
// and answers it over that bus.
#include "widgets/QuestionMessageBox.h"
#include <QAccessible>
#include <QApplication>
#include <QTextStream>
#include <QTimer>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &application, [&timer] {
        if (!QAccessible::isActive())
            return;
        timer.stop();
        const int answer = CQuestionMessageBox(QStringLiteral("提示"), QStringLiteral("确定要取消升级吗？"), nullptr,
                                               QStringLiteral("是"), QStringLiteral("否"));
        QTextStream(stdout) << "answer " << answer << '\n';
        QCoreApplication::quit();
    });
    timer.start(10);
    return QApplication::exec();
}
