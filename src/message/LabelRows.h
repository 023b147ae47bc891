#pragma once
#include <QFontMetrics>
#include <QString>

/// Rows that a text takes in a label when it is broken character by character. The last character is never measured,
/// deliberately: the sizes that are made from the count go with it.
/// @param width of the label in pixels
int GetRowsByLabelText(QFontMetrics fm, QString text, int width);
