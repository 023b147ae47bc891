#include "widgets/AlignLabel.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include <QHBoxLayout>

using namespace tarn::visualized;

namespace {
// Look
QString labelSheet()
{
    return QStringLiteral("QLabel{border:none;background-color:transparent;color:#454d5a;}");
}
} // namespace

void CAlignLabel::CreateWidget(QString label, QString value)
{
    qDeleteAll(findChildren<ElideLabel *>());
    delete layout();
    setStyleSheet(labelSheet());
    auto *row = look::space(new QHBoxLayout(this), {}, 8, this);
    for (const QString &text : {label, value}) {
        auto *part = new ElideLabel(text, this);
        part->setFont(look::yaHei(12, QFont::Normal, this));
        row->addWidget(part);
    }
    row->setStretch(1, 1);
}
