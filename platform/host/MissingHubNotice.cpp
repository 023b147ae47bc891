#include "host/MissingHubNotice.h"
#include <QAccessibleWidget>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QShortcut>
#include <QTextDocumentFragment>
#include <QToolButton>

namespace {
constexpr int Width = 320;
constexpr int Margin = 11; // to the edges of the screen, as the pop-up notices have it

QAccessibleInterface *makeAccessible(const QString &, QObject *object)
{
    auto *notice = qobject_cast<MissingHubNotice *>(object);
    return notice ? new QAccessibleWidget(notice, QAccessible::Notification) : nullptr;
}

QString plainText(const QString &text)
{
    return QTextDocumentFragment::fromHtml(text).toPlainText();
}
} // namespace

MissingHubNotice::MissingHubNotice(const QString &text)
    : QFrame(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    QAccessible::installFactory(makeAccessible); // each function is installed once
    setObjectName(QStringLiteral("MissingHubNotice"));
    setWindowRole(objectName());
    setWindowTitle(QStringLiteral("岚川软件平台"));
    setAccessibleName(windowTitle());
    setAccessibleDescription(plainText(text));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFrameShape(QFrame::Box);
    setFixedWidth(Width);

    auto *title = new QLabel(QStringLiteral("<b>%1</b>").arg(windowTitle()), this);
    auto *body = new QLabel(text, this);
    body->setWordWrap(true);
    body->setOpenExternalLinks(true);
    body->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    body->setAccessibleName(plainText(text));
    auto *close = new QToolButton(this);
    close->setText(QStringLiteral("关闭"));
    close->setFocusPolicy(Qt::TabFocus);
    connect(close, &QToolButton::clicked, this, &QWidget::close);
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, &QWidget::close);

    auto *grid = new QGridLayout(this);
    grid->addWidget(title, 0, 0);
    grid->addWidget(close, 0, 1, Qt::AlignRight);
    grid->addWidget(body, 1, 0, 1, 2);

    adjustSize();
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    move(area.bottomRight() - rect().bottomRight() - QPoint(Margin, Margin));
}
