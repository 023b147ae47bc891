#include "message/LabelRows.h"

int GetRowsByLabelText(QFontMetrics fm, QString text, int width)
{
    if (text.size() < 2)
        return 1;
    int rows = 1;
    int start = 0;
    int end = 1;
    do {
        const QRect row = fm.boundingRect(text.mid(start, end - start));
        if (row.right() - row.left() >= width) {
            if (end - start > 1) // a character wider than the label has a row of its own
                --end;
            ++rows;
            start = end;
        }
        ++end;
    } while (end < text.size());
    return rows;
}
