#pragma once
#include "services/UpgradeEngine.h"
#include "support/HttpServer.h"
#include "support/Packages.h"
#include "tarn/keys/UpgradeKeys.h"
#include <memory>

/// An upgrade engine on a folder with one installed product, and the server of its packages.
class UpgradeBench
{
public:
    explicit UpgradeBench(const QString &folder)
        : root(folder)
        , product(packages::install(root + QStringLiteral("/apps"), Name, QStringLiteral("1.0")))
    {
        restart();
    }
    ~UpgradeBench() { engine.reset(); }

    void restart() ///< as another process would find everything
    {
        engine.reset();
        store = std::make_unique<tarn::services::UpgradeStore>(root);
        engine = std::make_unique<tarn::services::UpgradeEngine>(store.get(), root + QStringLiteral("/apps"),
                                                                 root + QStringLiteral("/downloads"), 0);
    }
    tarn::services::UpgradeItem package(const QString &path, const HttpServer::File &file,
                                        int type = tarn::upgrade::item::Main)
    {
        server.set(path, file);
        return {
            type, Name, QStringLiteral("2.0"), server.url(path), packages::sha256(file.content), file.content.size(),
            0};
    }
    void start(const QList<tarn::services::UpgradeItem> &items, const QString &name = QStringLiteral("云杉绘图"))
    {
        tarn::services::UpgradeTask task;
        task.product = name;
        task.state = tarn::upgrade::state::Downloading;
        task.items = items;
        engine->start(task);
    }
    tarn::services::UpgradeTask now() const { return engine->tasks().value(0); } ///< the task started first
    int state() const { return now().state; }
    QByteArray content(const QString &path) const { return packages::readFile(product + QLatin1Char('/') + path); }

    const QString Name = QStringLiteral("云杉绘图");
    const QString root;
    const QString product; ///< its folder
    HttpServer server;
    std::unique_ptr<tarn::services::UpgradeStore> store;
    std::unique_ptr<tarn::services::UpgradeEngine> engine;
};
