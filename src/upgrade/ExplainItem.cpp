#include "upgrade/ExplainItem.h"
#include "upgrade/NotesBrowser.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include <QBoxLayout>
#include <utility>

using namespace tarn::visualized;

CExplainItem::CExplainItem(const struUpgradeInfo &info, QWidget *parent)
    : QWidget(parent)
    , m_info(info)
{
    InitUi();
}

QString CExplainItem::sheet(const QWidget *w)
{
    return QStringLiteral("#notesHeader{color:#333333;} #installedVersion{color:#999999;}"
                          "NotesBrowser{background-color:white;border:1px solid #EBEBEB;color:#636D7E;"
                          "padding-top:%1;padding-left:%1;selection-background-color:%2;}"
                          "NotesBrowser:focus{border-color:%2;}")
               .arg(look::px(10, w), look::Blue) +
           look::thinScrollBars(QStringLiteral("NotesBrowser"), 5, QStringLiteral("white"), look::BorderGrey, w);
}

void CExplainItem::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!std::exchange(m_started, true))
        m_browser->load(m_info.notesFile);
}

void CExplainItem::InitUi()
{
    m_browser = look::named(new NotesBrowser(this), "notesBrowser", look::TextPx);
    m_browser->setAccessibleName(QStringLiteral("更新说明"));
    connect(m_browser, &NotesBrowser::unreadable, this, [this] {
        if (m_browser->document()->isEmpty()) // a link to a missing file leaves the page as it is
            m_browser->setPlainText(QStringLiteral("暂无更多信息。"));
    });
    auto *column = look::space(new QVBoxLayout(this), {16, 12, 16, 0}, 10, this);
    column->addWidget(headerLine());
    column->addWidget(m_browser, 1);
}

QWidget *CExplainItem::headerLine()
{
    auto *line = new QWidget(this);
    const QString header = QStringLiteral("%1 %2 -- 更新说明").arg(m_info.name, m_info.newVersion);
    const QString version = QStringLiteral("（当前版本：%1）").arg(m_info.installedVersion);
    auto *row = look::space(new QHBoxLayout(line), {}, 4, this);
    row->addWidget(look::named(new ElideLabel(header, line), "notesHeader", 15));
    auto *installed = look::named(new ElideLabel(version, line), "installedVersion", 12);
    installed->setMinimumWidth(qMin(installed->sizeHint().width(), look::scaled(240, this))); // beside a long name
    row->addWidget(installed);
    row->addStretch();
    return line;
}
