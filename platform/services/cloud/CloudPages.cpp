#include "services/cloud/CloudPages.h"
#include "services/ValueReader.h"
#include "services/cloud/CloudStore.h"
#include <QRegularExpression>
#include <QUrlQuery>
#include <memory>
#include <qrencode.h>

namespace tarn::services {

namespace {

constexpr int MaxIdentity = 256; // characters

const char *const Style =
    "body{font:16px/1.6 'Noto Sans CJK SC','Microsoft YaHei',sans-serif;color:#333;background:#f3f6fb;margin:0}"
    "main{max-width:26em;margin:3em auto;padding:2em;background:#fff;border-radius:8px;text-align:center}"
    "svg{width:15em;height:15em}svg.over{opacity:.15}code{background:#f3f6fb;padding:.1em .3em}"
    "input{font:inherit;width:100%;box-sizing:border-box;padding:.4em;margin:.5em 0}"
    "button{font:inherit;padding:.4em 1.6em;margin:.5em;border:1px solid #0c64eb;border-radius:4px;background:#fff}"
    "#confirm{background:#0c64eb;color:#fff}";

const char *const Script =
    "const line=document.getElementById('state'),code=document.getElementById('code');"
    "async function look(){try{"
    "const page=new DOMParser().parseFromString(await(await fetch(location)).text(),'text/html');"
    "const now=page.getElementById('state'),waits='waits' in now.dataset;"
    "line.textContent=now.textContent;code.classList.toggle('over',!waits);if(waits)setTimeout(look,1000);"
    "}catch(e){line.textContent='与登录服务的连接已断开';setTimeout(look,3000);}}"
    "look();";

PageReply render(const QString &title, const QString &body, bool follows = false)
{
    constexpr int NonceBytes = 16;
    const QString nonce = randomHex(NonceBytes);
    const QString refresh = QStringLiteral("<noscript><meta http-equiv=\"refresh\" content=\"3\"></noscript>");
    const QString script = QStringLiteral("<script nonce=\"%1\">%2</script>").arg(nonce, QString::fromUtf8(Script));
    PageReply reply;
    reply.body =
        QStringLiteral("<!DOCTYPE html><html lang=\"zh-CN\"><head><meta charset=\"utf-8\">"
                       "<meta name=\"viewport\" content=\"width=device-width\"><title>%1</title>"
                       "<style nonce=\"%2\">%3</style>%4</head><body><main><h1>%1</h1>%5%6</main></body></html>\n")
            .arg(title, nonce, QString::fromUtf8(Style), follows ? refresh : QString(), body,
                 follows ? script : QString())
            .toUtf8();
    reply.policy =
        QStringLiteral("default-src 'none'; script-src 'nonce-%1'; style-src 'nonce-%1'; connect-src 'self'; "
                       "form-action 'self'; base-uri 'none'; frame-ancestors 'none'")
            .arg(nonce)
            .toLatin1();
    return reply;
}

// A QR code as an SVG element with its quiet zone; empty when text is too long for one.
QByteArray qrPicture(const QByteArray &text)
{
    constexpr int Quiet = 4; // modules around the code
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(text.size(), reinterpret_cast<const unsigned char *>(text.constData()), 0, QR_ECLEVEL_M),
        &QRcode_free);
    if (!code)
        return {};
    const QByteArray size = QByteArray::number(code->width + 2 * Quiet);
    QByteArray path;
    for (int i = 0; i < code->width * code->width; ++i) {
        if (code->data[i] & 1)
            path += 'M' + QByteArray::number(i % code->width + Quiet) + ' ' +
                    QByteArray::number(i / code->width + Quiet) + "h1v1h-1z";
    }
    return "<svg id=\"code\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size + ' ' + size +
           "\" shape-rendering=\"crispEdges\" role=\"img\"><rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>"
           "<path d=\"" +
           path + "\"/></svg>";
}

PageReply notFound()
{
    PageReply reply = render(QStringLiteral("没有这个页面"), QStringLiteral("<p>链接有误，或登录已经结束。</p>"));
    reply.status = 404;
    return reply;
}

QString wayName(const QString &way)
{
    return way == way::Weixin ? QStringLiteral("微信") : QStringLiteral("QQ");
}

QString stateText(const QrTickets::Ticket &view)
{
    switch (view.state) {
    case QrState::Waiting:
        return QStringLiteral("请使用%1扫描二维码").arg(wayName(view.way));
    case QrState::Confirmed:
        return view.result.isEmpty() ? QStringLiteral("已确认，正在登录") : view.result;
    case QrState::Refused:
        return QStringLiteral("已取消登录");
    case QrState::Expired:
        break;
    }
    return QStringLiteral("二维码已过期，请返回登录窗口重新获取");
}

QString stateLine(const QrTickets::Ticket &view)
{
    const bool waits = view.state == QrState::Waiting || (view.state == QrState::Confirmed && view.result.isEmpty());
    return QStringLiteral("<p id=\"state\" role=\"status\"%1>%2</p>")
        .arg(waits ? QStringLiteral(" data-waits") : QString(), stateText(view).toHtmlEscaped());
}

bool isUsable(const QString &identity)
{
    return !identity.isEmpty() && identity.size() <= MaxIdentity && isPlainText(identity);
}

PageReply accountPage()
{
    return render(
        QStringLiteral("账号管理"),
        QStringLiteral(
            "<p>本平台的账号由命令行管理，添加时可绑定手机、微信或QQ。</p><p><code>tarnctl cloud account add 账号 "
            "--phone 手机号 --weixin 微信号 --qq QQ号</code></p><p>忘记密码时，请删除账号后以新密码重新添加。</p>"
            "<p><code>tarnctl cloud account remove 账号</code></p>"));
}

PageReply qrPage(const QString &phone, const QrTickets::Ticket &view)
{
    return render(QStringLiteral("%1扫码登录").arg(wayName(view.way)),
                  QString::fromLatin1(qrPicture(phone.toLatin1())) + stateLine(view) +
                      QStringLiteral("<p><a id=\"phone\" href=\"%1\" target=\"_blank\" rel=\"noopener\">"
                                     "在本机代替手机扫码</a></p>")
                          .arg(phone),
                  true);
}

PageReply phonePage(const QrTickets::Ticket &view)
{
    const QString form = QStringLiteral("<form method=\"post\"><label for=\"identity\">%1号</label>"
                                        "<input id=\"identity\" name=\"identity\" maxlength=\"%2\" "
                                        "autocomplete=\"off\" autofocus>"
                                        "<button id=\"confirm\" name=\"decision\" value=\"confirm\">确认登录</button>"
                                        "<button id=\"refuse\" name=\"decision\" value=\"refuse\">取消</button>"
                                        "</form>")
                             .arg(wayName(view.way), QString::number(MaxIdentity));
    return render(QStringLiteral("%1登录确认").arg(wayName(view.way)),
                  view.state == QrState::Waiting ? stateLine(view) + form : stateLine(view));
}

// The page shows the outcome, also when it is loaded again.
PageReply decide(QrTickets &tickets, const QString &ticket, const QByteArray &form)
{
    const QUrlQuery query(QString::fromUtf8(QByteArray(form).replace('+', "%20")));
    const QString decision = query.queryItemValue(QStringLiteral("decision"));
    const QString identity = query.queryItemValue(QStringLiteral("identity"), QUrl::FullyDecoded).trimmed();
    if (decision == QLatin1String("refuse"))
        tickets.decide(ticket, {});
    else if (decision == QLatin1String("confirm") && isUsable(identity))
        tickets.decide(ticket, identity);
    PageReply reply;
    reply.status = 303;
    reply.location = "/phone/" + ticket.toLatin1();
    return reply;
}

} // namespace

PageReply cloudPage(QrTickets &tickets, const PageRequest &request)
{
    static const QRegularExpression pattern(QStringLiteral("\\A/(qr|phone)/([0-9a-f]{32})\\z"));
    if (!request.isPost && request.path == AccountPath)
        return accountPage();
    const auto match = pattern.match(request.path);
    const bool isPhone = match.captured(1) == QLatin1String("phone");
    const QString ticket = match.captured(2);
    const QrTickets::Ticket view = tickets.view(ticket);
    if (view.name.isEmpty() || (request.isPost && !isPhone))
        return notFound();
    if (request.isPost)
        return decide(tickets, ticket, request.body);
    return isPhone ? phonePage(view) : qrPage(request.server + QStringLiteral("/phone/") + ticket, view);
}

} // namespace tarn::services
