#pragma once

class QWidget;

/// For assistive tools: a list and its items, made of plain widgets. Layers between them are left out. GUI thread; called
/// before the widgets get an accessible name, since Qt then keeps the role that they have.
namespace tarn::visualized::listrole {

void setList(QWidget *widget);
void setItem(QWidget *widget); ///< belongs to the nearest list above it

} // namespace tarn::visualized::listrole
