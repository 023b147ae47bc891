#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include "widgets/TitleButton.h"
#include "widgets/Toolkit.h"
#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QRegExpValidator>

using namespace tarn::visualized;

using ServiceVisualized::CToolkit;

CIconEditWidget::CIconEditWidget(QWidget *parent)
    : QWidget(parent)
    , m_prefix(look::named(new QLabel(this), "prefixIcon"))
    , m_edit(look::named(new CCustomLineEdit(this), "iconEdit"))
    , m_suffix(look::named(new TitleButton(QStringLiteral("后缀按钮"), QString(), this), "suffixButton"))
{
    setFixedHeight(look::scaled(36, this));
    setFocusProxy(m_edit);
    m_prefix->hide();
    m_edit->setFrame(false);
    connect(qApp, &QApplication::focusChanged, this, [this] { update(); }); // the frame shows the edit's focus
    m_suffix->setCursor(Qt::PointingHandCursor);
    m_suffix->hide();
    connect(m_suffix, &QPushButton::clicked, this, &CIconEditWidget::SuffixBtnClicked);

    auto *row = new QHBoxLayout(this);
    const int padding = look::scaled(8, this);
    row->setContentsMargins(padding, 2, 2, 2);
    row->setSpacing(padding / 2);
    row->addWidget(m_prefix);
    row->addWidget(m_edit, 1);
    row->addWidget(m_suffix);
}

void CIconEditWidget::setPrefixIcon(const QString &path)
{
    m_prefix->setFixedSize(look::scaled(QSize(16, 16), this));
    CToolkit::SetLabelIconPicture(m_prefix, path, m_prefix->size());
    m_prefix->setVisible(!path.isEmpty());
}

void CIconEditWidget::setSuffixIconPath(const QString &path)
{
    m_suffix->setIcon(QIcon(path));
    m_suffix->setVisible(!path.isEmpty());
}

void CIconEditWidget::setSuffixName(const QString &name)
{
    m_suffix->setAccessibleName(name);
    m_suffix->setToolTip(name);
}

void CIconEditWidget::setLineEditRegExp(const QRegExp &expression)
{
    delete m_edit->findChild<QRegExpValidator *>();
    const bool usable = expression.isValid() && !expression.isEmpty();
    m_edit->setValidator(usable ? new QRegExpValidator(expression, m_edit) : nullptr);
}

void CIconEditWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(m_edit->hasFocus() ? QColor(look::Blue) : QColor(0xCB, 0xD0, 0xD7));
    painter.setBrush(Qt::white);
    const qreal radius = look::scaled(3, this);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}
