// Asks one question and prints its answer as "answer N"; another process reads and answers it over the accessibility bus.
#include "widgets/QuestionMessageBox.h"
#include <QApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    const int answer = CQuestionMessageBox(QStringLiteral("提示"), QStringLiteral("确定要取消升级吗？"), nullptr,
                                           QStringLiteral("是"), QStringLiteral("否"));
    QTextStream(stdout) << "answer " << answer << '\n';
    return 0;
}
