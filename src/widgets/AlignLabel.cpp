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

CAlignLabel::CAlignLabel(QWidget *parent)
    : QWidget(parent)
    , m_label(new QLabel(this))
    , m_value(new ElideLabel(this))
{
    setStyleSheet(labelSheet());
    m_label->setTextFormat(Qt::PlainText);
    for (QLabel *part : {m_label, static_cast<QLabel *>(m_value)})
        part->setFont(look::yaHei(12, QFont::Normal, this));
    auto *row = new QHBoxLayout(this);
    look::space(row, {}, 8, this);
    row->addWidget(m_label);
    row->addWidget(m_value, 1);
}

void CAlignLabel::CreateWidget(QString label, QString value)
{
    m_label->setText(label);
    m_value->setFullText(value);
}
