#include "gallery/Gallery.h"
#include "message/NotifyWnd.h"
#include <QVariant>

namespace {

QWidget *notice(const QString &content, int unread, const QVariantMap &more = {})
{
    QVariantMap values{{"MsgId", "1"}, {"MsgTitle", "系统维护通知"}, {"MsgContent", content}};
    values.insert(more);
    auto *window = new NotifyWnd(nullptr);
    window->SetUnReadMsgNum(unread);
    window->setData(values);
    window->CreateCtrl();
    return window;
}

} // namespace

GALLERY_SCENE(notice, Short, "Pop-up notice, nothing unread")
{
    return notice("岚川软件平台有新的可用版本。", 0);
}

GALLERY_SCENE(notice, PictureAndLink, "Pop-up notice with a picture, a link and seven unread messages")
{
    const QString picture = QStringLiteral(GALLERY_SAMPLE "/catalogue/icons/spruce.png");
    QWidget *window =
        notice("服务器将于今晚 22:00 至 24:00 维护，\n届时云端功能暂不可用。", 7,
               {{"PicFilePath", picture}, {"LinkText", "查看详情"}, {"LinkAdress", "https://example.org/notice"}});
    gallery::waitFor([window] { return !window->findChild<QWidget *>("notify-picture")->isHidden(); });
    return window;
}

GALLERY_SCENE(notice, Long, "Pop-up notice at its greatest height, more than fifty unread")
{
    return notice(QString("这是很长的通知内容，用于说明窗口高度的上限与滚动条。\n").repeated(40), 51,
                  {{"LinkText", "查看详情"}, {"LinkAdress", "https://example.org/notice"}});
}
