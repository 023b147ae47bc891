#include "frame/VtServiceClient.h"
#include "gallery/Gallery.h"
#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDlg.h"
#include "support/FakeClient.h"
#include <QApplication>
#include <QLabel>
#include <QVariant>

namespace {

QVariantMap message(const QString &id, const QString &title, const QString &time, const QString &content, bool unread)
{
    return {{"MsgId", id}, {"MsgTitle", title}, {"MsgDateTime", time}, {"MsgContent", content}, {"unRead", unread}};
}

QVariantList messages()
{
    QVariantMap release =
        message("1", "岚川软件平台 2026 秋季版现已发布", "2026-11-20 09:30:00",
                "本次更新带来全新的绘图引擎、更快的启动速度以及数十项稳定性改进。\n\n<b>主要变化</b>\n"
                "• 启动时间缩短 40%\n• 支持批量导出为 PDF、DWG 与图片格式\n\n"
                "请在方便的时候完成升级，升级过程中请保存好正在编辑的文档，以免数据丢失。",
                true);
    release.insert("PicFilePath", QStringLiteral(GALLERY_SAMPLE "/catalogue/icons/spruce.png"));
    release.insert("LinkText", "查看完整的更新说明");
    release.insert("LinkAdress", "https://example.org/notes");
    return {release,
            message("2", "您的授权将于 30 天后到期", "2026-11-19 17:05:12", "请尽快联系管理员续期，以免影响正常使用。",
                    true),
            message("3", "系统维护通知：本周六 22:00 至周日 06:00", "2026-11-18 08:00:00",
                    QString("维护期间云服务与在线授权不可用，请提前保存并同步您的工程文件。").repeated(5), false),
            message("4", "一个很长的标题，用来确认标题在窗口宽度不够的时候以省略号结尾而不会把时间挤出窗口之外",
                    "2026-11-17 12:00:00", "标题过长时以省略号结尾。", false),
            message("5", "欢迎使用消息中心", "2026-11-16 10:00:00", "在这里查看平台的通知、更新与活动。", false),
            message("6", "新功能：云端工程", "2026-11-15 10:00:00", "工程可以保存到云端，在任何一台电脑上继续编辑。",
                    false)};
}

CMsgCenterDlg *center(const QVariantList &list)
{
    FakeClient::install();
    CVtServiceClient::ReleaseInstance(); // an earlier scene may have looked for a client library
    FakeClient::fake().queue("GetAllMessageRecords", {2000, {}, {}, list});
    return new CMsgCenterDlg(nullptr);
}

CMessageListItem *item(CMsgCenterDlg *dialog, size_t index)
{
    return dialog->findChild<MessageList *>()->items().at(index);
}

} // namespace

GALLERY_SCENE(message, List, "Message center: the list.")
{
    return center(messages());
}

GALLERY_SCENE(message, Expanded, "Message center: a message open, with picture and link.")
{
    CMsgCenterDlg *dialog = center(messages());
    dialog->show(); // the picture is read for the width that it will have
    QCoreApplication::processEvents();
    item(dialog, 0)->select();
    item(dialog, 0)->OnArrowBtnClicked();
    gallery::waitFor([dialog] { return dialog->findChild<QLabel *>("messagePicture"); });
    dialog->hide();
    return dialog;
}

GALLERY_SCENE(message, Empty, "Message center: no messages.")
{
    return center({});
}
