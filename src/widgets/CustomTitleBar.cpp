#include "widgets/CustomTitleBar.h"
#include "widgets/Picture.h"
#include "widgets/TitleButton.h"
#include "widgets/Toolkit.h"
#include <QMouseEvent>

using ServiceVisualized::CToolkit;
using namespace tarn::visualized;

CustomTitleBar::CustomTitleBar(QWidget *parent)
    : QWidget(parent)
    , m_layout(look::space(new QHBoxLayout(this), {12, 0, 12, 0}, 8, this))
    , m_logo(look::named(new QLabel(this), "titleLogo"))
    , m_title(look::named(new ElideLabel(this), "titleText"))
{
    setObjectName(QStringLiteral("CustomTitleBar"));
    setAttribute(Qt::WA_StyledBackground);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    m_logo->hide();
    m_layout->addWidget(m_logo);
    m_layout->addWidget(m_title);
}

CustomTitleBar *CustomTitleBar::addOnTop(QVBoxLayout *column, int height)
{
    auto *bar = new CustomTitleBar(column->parentWidget());
    bar->setFixedHeight(look::scaled(height, bar));
    bar->SetTitleText(bar->window()->windowTitle());
    bar->addStretch(1);
    bar->AddCloseButton();
    column->insertWidget(0, bar);
    return bar;
}

void CustomTitleBar::AddCloseButton()
{
    addButton("closeButton", QStringLiteral("关闭"), look::icon::Close, &CustomTitleBar::OnCloseBtnClicked);
    QMargins margins = m_layout->contentsMargins();
    margins.setRight(0); // the corner is the easiest target on the screen
    m_layout->setContentsMargins(margins);
}

void CustomTitleBar::AddMinumButton()
{
    addButton("minimiseButton", QStringLiteral("最小化"), look::icon::Minimise, &CustomTitleBar::OnMinumBtnClicked);
}

void CustomTitleBar::AddMaxumButton()
{
    addButton("maximiseButton", QStringLiteral("最大化"), look::icon::Maximise, &CustomTitleBar::OnMaxumBtnClicked);
}

void CustomTitleBar::SetMarginH(const int &margin)
{
    const QMargins old = m_layout->contentsMargins();
    const int side = look::scaled(margin, this);
    m_layout->setContentsMargins(side, old.top(), side, old.bottom());
}

void CustomTitleBar::SetMarginV(const int &margin)
{
    const QMargins old = m_layout->contentsMargins();
    const int side = look::scaled(margin, this);
    m_layout->setContentsMargins(old.left(), side, old.right(), side);
}

void CustomTitleBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    m_pressInWindow = event->windowPos().toPoint();
    event->accept(); // a window that is also dragged by its body must not see it twice
    emit CustomTitleBarPressed(event->globalX(), event->globalY());
}

void CustomTitleBar::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_pressInWindow || !(event->buttons() & Qt::LeftButton))
        return QWidget::mouseMoveEvent(event);
    event->accept();
    emit CustomTitleBarmoved(event->globalX(), event->globalY());
}

void CustomTitleBar::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        m_pressInWindow.reset();
    else
        QWidget::mouseReleaseEvent(event);
}

void CustomTitleBar::setTitle(const QString &text, int fontPx, int weight)
{
    m_title->setFont(look::yaHei(fontPx, weight, this));
    m_title->setFullText(text);
}

void CustomTitleBar::setLogo(const QString &path, const QSize &size)
{
    m_logo->show();
    m_logo->setFixedSize(look::scaled(size, this));
    if (path.isEmpty() || path.startsWith(QLatin1String(":/")))
        return CToolkit::SetLabelIconPicture(m_logo, path, m_logo->size());
    picture::readLater(m_logo, path, m_logo->size(), m_logo->devicePixelRatioF(),
                       [logo = m_logo](const QImage &image) { logo->setPixmap(QPixmap::fromImage(image)); });
}

void CustomTitleBar::addButton(const char *objectName, const QString &accessibleName, const QString &picture,
                               void (CustomTitleBar::*slot)())
{
    auto *button = look::named(new TitleButton(accessibleName, picture, this), objectName);
    m_layout->addWidget(button, 0, Qt::AlignRight);
    connect(button, &QPushButton::clicked, this, slot);
}
