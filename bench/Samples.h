#pragma once

#include <QString>
#include <QVariant>

// What the calls of the benchmarks carry.
namespace samples {

// A notice that stops before a window: it has no message id.
inline QVariantMap notice()
{
    return {{QStringLiteral("MsgId"), QString()},
            {QStringLiteral("MsgTitle"), QStringLiteral("更新提醒")},
            {QStringLiteral("MsgContent"), QStringLiteral("岚川软件平台有新的可用版本，请及时更新。")},
            {QStringLiteral("LinkText"), QStringLiteral("查看详情")},
            {QStringLiteral("LinkAdress"), QStringLiteral("https://example.com/notice")},
            {QStringLiteral("unReadNum"), QStringLiteral("3")}};
}

// Records of 12 keys, as a list of products comes. They are made once for each number.
inline QVariantList records(int count)
{
    static thread_local QVariantList list;
    if (list.size() == count)
        return list;
    list.clear();
    for (int i = 0; i < count; ++i) {
        QVariantMap record;
        for (int key = 0; key < 8; ++key)
            record.insert(QStringLiteral("字段%1").arg(key), QStringLiteral("第 %1 条记录的值 %2").arg(i).arg(key));
        record.insert(QStringLiteral("大小"), qlonglong(1000000) * i);
        record.insert(QStringLiteral("状态"), i);
        record.insert(QStringLiteral("已安装"), i % 2 == 0);
        record.insert(QStringLiteral("进度"), i * 1.5);
        list.append(record);
    }
    return list;
}

} // namespace samples
