#pragma once

class QAbstractScrollArea;
class QTextEdit;

/// Context menus in the windows' language, instead of the ones that Qt makes. GUI thread.
namespace tarn::visualized {

/// Gives a read-only text the menu "复制", "全选". Links (unless text is selected) and the scroll bars get none.
void addTextMenu(QTextEdit *view);
/// Removes the menus of the scroll bars of any scroll area.
void removeScrollBarMenus(QAbstractScrollArea *area);

} // namespace tarn::visualized
