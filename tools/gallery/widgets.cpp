#include "gallery/Gallery.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include <QDir>
#include <QLabel>
#include <QVBoxLayout>

using namespace tarn::visualized;

namespace {

QString title()
{
    return QStringLiteral("提示");
}

QString pageSheet()
{
    return QStringLiteral("#page{background-color:white;border:1px solid #D5D9DF;}") + look::greyButton() +
           look::blueButton() + look::whiteButton() + look::linkButton() + CIconEditWidget::sheet();
}

// A white page for widgets that are not windows.
QWidget *page(int width)
{
    auto *page = new QWidget;
    look::prepareWindow(page, title());
    page->setObjectName(QStringLiteral("page"));
    page->setAttribute(Qt::WA_StyledBackground);
    page->setFixedWidth(look::scaled(width, page));
    const int margin = look::scaled(16, page);
    auto *column = new QVBoxLayout(page);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(margin);
    return page;
}

QWidget *notice(eTipStatus status, const QString &text)
{
    return new CustomMessageBox(title(), text, status, nullptr);
}

QWidget *buttonRow(QWidget *parent, bool enabled)
{
    auto *row = new QWidget(parent);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    const QList<QPair<QString, CCustomBtn::Tone>> all = {{QStringLiteral("全部忽略"), CCustomBtn::Grey},
                                                         {QStringLiteral("软件管理"), CCustomBtn::Blue},
                                                         {QStringLiteral("更新说明"), CCustomBtn::White},
                                                         {QStringLiteral("忘记密码"), CCustomBtn::Link}};
    for (const auto &one : all) {
        auto *button = new CCustomBtn(one.first, one.second, row);
        button->setMinimumSize(look::scaled(80, row), look::scaled(30, row));
        button->setEnabled(enabled);
        layout->addWidget(button);
    }
    return row;
}

} // namespace

GALLERY_SCENE(widgets, MessageBoxWarning, "Warning with line ends in the text.")
{
    return notice(
        eTipWarning,
        QStringLiteral(
            "磁盘空间不足。\r\n还需要 512 MB 才能继续安装更新，请先清理磁盘上不再需要的文件。\r\n然后重试。"));
}

GALLERY_SCENE(widgets, MessageBoxLink, "A link in the text.")
{
    return notice(eTipNormal, QStringLiteral("检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" "
                                             "href=\"https://user.example/\">岚川用户中心</a>绑定后再登录。"));
}

GALLERY_SCENE(widgets, MessageBoxLong, "A text that is taller than the box: it scrolls.")
{
    QString text;
    for (int i = 1; i <= 40; i++)
        text += QStringLiteral("第%1项更新已经下载完成，正在等待安装，请保持网络连接畅通。\r\n").arg(i);
    return notice(eTipNormal, text);
}

GALLERY_SCENE(widgets, Question, "Question with the standard buttons.")
{
    return new QuestionMessageBox(title(), QStringLiteral("确定要取消升级吗？"), nullptr);
}

GALLERY_SCENE(widgets, Timing, "Notice that closes itself.")
{
    return new CTimingMessageBox(QStringLiteral("已复制到剪贴板"), 60000, nullptr);
}

GALLERY_SCENE(widgets, TitleBar, "Title bar with all three buttons.")
{
    QWidget *ground = page(420);
    auto *bar = new CustomTitleBar(ground);
    bar->setFixedHeight(look::scaled(35, ground));
    bar->SetTitleLogo(QStringLiteral(":/images/images/upgrade_logo.svg"));
    bar->SetTitleText(QStringLiteral("在线升级"));
    bar->SetTitleStyleSheet(QStringLiteral("color:#0e52a4;"));
    bar->addStretch(1);
    bar->AddMinumButton();
    bar->AddMaxumButton();
    bar->AddCloseButton();
    ground->layout()->addWidget(bar);
    ground->setStyleSheet(pageSheet() + look::titleBand(QStringLiteral("#f1f8fe"), QStringLiteral("#EBEBEB")));
    return ground;
}

GALLERY_SCENE(widgets, Buttons, "Buttons in their four tones, enabled and disabled.")
{
    QWidget *ground = page(420);
    ground->layout()->addWidget(buttonRow(ground, true));
    ground->layout()->addWidget(buttonRow(ground, false));
    ground->setStyleSheet(pageSheet());
    return ground;
}

GALLERY_SCENE(widgets, Edits, "Edit fields: plain, with icon and button, masked.")
{
    QWidget *ground = page(320);
    auto *plain = new CCustomLineEdit(ground);
    plain->setFixedHeight(look::scaled(32, ground));
    plain->setPlaceholderText(QStringLiteral("请输入账号"));
    auto *phone = new CIconEditWidget(ground);
    phone->setPrefixIcon(QStringLiteral(":/images/images/phone.svg"));
    phone->lineEdit()->setPlaceholderText(QStringLiteral("请输入手机号"));
    auto *password = new CIconEditWidget(ground);
    password->setPrefixIcon(QStringLiteral(":/images/images/lock.svg"));
    password->setSuffixIconPath(QStringLiteral(":/images/images/closeEye.svg"));
    password->lineEdit()->setPasswordField(true);
    password->lineEdit()->setText(QStringLiteral("geheim-1234"));
    for (QWidget *edit :
         {static_cast<QWidget *>(plain), static_cast<QWidget *>(phone), static_cast<QWidget *>(password)})
        ground->layout()->addWidget(edit);
    ground->setStyleSheet(pageSheet());
    return ground;
}

GALLERY_SCENE(widgets, Icons, "Every picture that is compiled in.")
{
    QWidget *ground = page(720);
    auto *grid = new QGridLayout;
    const QStringList names = QDir(QStringLiteral(":/images/images")).entryList(QDir::Files);
    for (int i = 0; i < names.size(); i++) {
        const int side = look::scaled(24, ground);
        auto *picture = new QLabel(ground);
        picture->setPixmap(QIcon(QStringLiteral(":/images/images/") + names.at(i)).pixmap(side, side));
        grid->addWidget(picture, i / 4, i % 4 * 2);
        auto *name = look::named(new QLabel(names.at(i), ground), "name", 16);
        look::setTextColor(name, Qt::black);
        grid->addWidget(name, i / 4, i % 4 * 2 + 1);
    }
    static_cast<QVBoxLayout *>(ground->layout())->addLayout(grid);
    ground->setStyleSheet(pageSheet());
    return ground;
}
