#include "services/PackageInstaller.h"
#include "services/FileSwap.h"
#include "services/Files.h"
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QSettings>
#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cstring>
#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace tarn::services {

namespace item = upgrade::item;

namespace {

constexpr qint64 MaxMembers = 1000000;
constexpr qint64 MaxDescription = 1024 * 1024; // bytes; the library reads it to the end to skip it
constexpr size_t MaxPath = 4096;               // bytes
constexpr size_t BlockSize = 256 * 1024;
constexpr mode_t UsualMode = 0755;

using Reader = std::unique_ptr<archive, decltype(&archive_read_free)>;
using Writer = std::unique_ptr<archive, decltype(&archive_write_free)>;

// The library reads the process's umask by setting it to 0 for a moment: two threads at once would leave it at 0.
QBasicMutex umaskLock;

archive *newWriter()
{
    const QMutexLocker locker(&umaskLock);
    return archive_write_disk_new();
}

void refuseIf(bool condition, const char *problem, const std::string &name)
{
    if (condition)
        throw Failure(
            QStringLiteral("the package %1: %2").arg(QLatin1String(problem), QString::fromStdString(name).left(300)));
}

// Throws the library's last error unless it succeeded.
void check(bool success, archive *part)
{
    if (!success)
        throw Failure(QStringLiteral("the package cannot be unpacked: %1")
                          .arg(QString::fromLocal8Bit(archive_error_string(part)).left(300)));
}

// A path below the directory; without "." and empty parts.
fs::path cleanPath(const std::string &name)
{
    refuseIf(name.size() > MaxPath || name.empty() || name.front() == '/', "has a path outside of its folder", name);
    fs::path path;
    for (const fs::path &part : fs::path(name)) {
        refuseIf(part == "..", "has a path outside of its folder", name);
        refuseIf(part == FileSwap::AreaName, "uses a reserved name", name);
        if (part != "." && !part.empty())
            path /= part;
    }
    return path;
}

// Ways up count from the link's own folder and come first: after a name they would start wherever that name leads.
bool leadsOut(const fs::path &link, const fs::path &target)
{
    const fs::path folder = link.parent_path();
    auto depth = std::distance(folder.begin(), folder.end());
    bool hasName = false;
    for (const fs::path &part : target) {
        const bool isUp = part == "..";
        if (isUp && (hasName || --depth < 0))
            return true;
        hasName = hasName || (!isUp && part != "." && !part.empty());
    }
    return target.is_absolute() || target.empty();
}

// The library refuses to write through links, also through those of an earlier package.
class PackageUnpacker
{
public:
    PackageUnpacker(const QString &directory, const std::atomic<bool> &stopping)
        : m_directory(directory)
        , m_root(fs::canonical(QFile::encodeName(directory).toStdString()))
        , m_stopping(stopping)
        , m_disk(newWriter(), &archive_write_free)
    {
        archive_write_disk_set_options(m_disk.get(), ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_SECURE_SYMLINKS);
    }

    void unpack(const UpgradeItem &package)
    {
        QFile file;
        if (!openRegular(package.file, &file))
            throw systemFailure(package.file);
        failIf(file.size() != package.size, QStringLiteral("the package has %1 bytes instead of %2")
                                                .arg(QString::number(file.size()), QString::number(package.size)));
        requireChecksum(&file, package.sha256, m_stopping);
        failIf(!file.seek(0), QStringLiteral("%1: %2").arg(package.file, file.errorString()));
        const Reader reader(archive_read_new(), &archive_read_free);
        archive_read_support_format_tar(reader.get());
        for (const auto support : {&archive_read_support_filter_gzip, &archive_read_support_filter_bzip2,
                                   &archive_read_support_filter_xz, &archive_read_support_filter_zstd})
            support(reader.get());
        check(archive_read_open_fd(reader.get(), file.handle(), BlockSize) == ARCHIVE_OK, reader.get());
        readMembers(reader.get());
    }

    // Gives the directories their permissions.
    void finish() { check(archive_write_close(m_disk.get()) == ARCHIVE_OK, m_disk.get()); }

private:
    void readMembers(archive *reader)
    {
        archive_entry *entry = nullptr;
        int status = ARCHIVE_OK;
        while ((status = archive_read_next_header(reader, &entry)) != ARCHIVE_EOF) {
            check(status >= ARCHIVE_WARN, reader);
            failIf(m_stopping, QStringLiteral("the installation was cancelled"));
            failIf(++m_members > MaxMembers, QStringLiteral("the package has more than %1 members").arg(MaxMembers));
            if (takeIn(entry))
                write(reader, entry);
        }
    }

    // Judges a member and gives it its place below the directory. False when it is skipped.
    bool takeIn(archive_entry *entry) const
    {
        const char *local = archive_entry_pathname(entry); // null where the locale cannot represent a UTF-8 name
        const char *const name = local ? local : archive_entry_pathname_utf8(entry);
        failIf(!name, QStringLiteral("the package has a member without a readable name"));
        const fs::path path = cleanPath(name);
        const char *const hardLink = archive_entry_hardlink(entry);
        const char *const symLink = archive_entry_symlink(entry);
        const auto type = archive_entry_filetype(entry);
        if (path.filename() == "installation.ini") {
            refuseIf(path.has_parent_path() || hardLink || type != AE_IFREG,
                     "has an install description where there must be none", name);
            refuseIf(archive_entry_size(entry) > MaxDescription, "has a large install description", name);
            return false; // the installer writes the description
        }
        if (path.empty()) {
            refuseIf(type != AE_IFDIR, "has a member without a name", name); // to skip its data would take time
            return false;
        }
        if (hardLink) {
            const fs::path target = m_root / cleanPath(hardLink);
            refuseIf(!fs::is_regular_file(fs::symlink_status(target)),
                     "has a hard link to a file that it does not have", name);
            archive_entry_set_hardlink(entry, target.c_str());
        } else if (type == AE_IFLNK) {
            refuseIf(!symLink || std::strlen(symLink) > MaxPath || leadsOut(path, symLink),
                     "has a link that leads out of its folder", name);
        } else {
            refuseIf(type != AE_IFREG && type != AE_IFDIR, "has a member that is neither a file nor a directory", name);
        }
        const mode_t least = type == AE_IFDIR ? S_IRWXU : S_IRUSR | S_IWUSR;
        archive_entry_set_perm(entry, (archive_entry_perm(entry) & UsualMode) | least);
        archive_entry_set_pathname(entry, (m_root / path).c_str());
        makeDirectories(path.parent_path());
        return true;
    }

    void write(archive *reader, archive_entry *entry) const
    {
        requireSpace(m_directory, archive_entry_size(entry));
        QMutexLocker locker(&umaskLock);
        check(archive_write_header(m_disk.get(), entry) == ARCHIVE_OK, m_disk.get());
        locker.unlock();
        const void *block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        int status = ARCHIVE_OK;
        while ((status = archive_read_data_block(reader, &block, &size, &offset)) == ARCHIVE_OK) {
            failIf(m_stopping, QStringLiteral("the installation was cancelled"));
            requireSpace(m_directory, static_cast<qint64>(size));
            check(archive_write_data_block(m_disk.get(), block, size, offset) == ARCHIVE_OK, m_disk.get());
        }
        check(status == ARCHIVE_EOF, reader);
        check(archive_write_finish_entry(m_disk.get()) == ARCHIVE_OK, m_disk.get());
    }

    // Those that the package does not list, with the usual permissions, whatever the umask is.
    void makeDirectories(const fs::path &path) const
    {
        fs::path made = m_root;
        for (const fs::path &part : path) {
            made /= part;
            if (fs::create_directory(made))
                fs::permissions(made, fs::perms(UsualMode));
        }
    }

    const QString m_directory;
    const fs::path m_root;
    const std::atomic<bool> &m_stopping;
    const Writer m_disk;
    qint64 m_members = 0;
};

QString descriptionIn(const QString &directory)
{
    return QDir(directory).filePath(QStringLiteral("installation.ini"));
}

void setPlugin(QSettings &settings, const QString &name, const QString &version)
{
    const QString sizeKey = QStringLiteral("Plugins/size"), nameKey = QStringLiteral("Plugins/%1/Name");
    const int count = std::min(settings.value(sizeKey).toInt(), MaxPlugins);
    int position = 1;
    while (position <= count && settings.value(nameKey.arg(position)).toString() != name)
        ++position;
    settings.setValue(sizeKey, std::max(count, position));
    settings.setValue(nameKey.arg(position), name);
    settings.setValue(QStringLiteral("Plugins/%1/Version").arg(position), version);
}

void writeItem(QSettings &settings, const UpgradeItem &entry)
{
    if (entry.type == item::Named) {
        setPlugin(settings, entry.name, entry.version);
    } else if (entry.type == item::Main) {
        settings.setValue(QStringLiteral("Version"), entry.version);
        settings.remove(QStringLiteral("PatchVersion")); // it belonged to the version before
    } else {
        settings.setValue(QStringLiteral("PatchVersion"), entry.version);
    }
}

// Read back, since QSettings does not report a write that failed when its file was closed.
void updateDescription(const UpgradeTask &task, const QString &directory, const QString &staging)
{
    const QString staged = descriptionIn(staging);
    failIf(!QFile::copy(descriptionIn(directory), staged),
           QStringLiteral("%1 cannot be copied").arg(descriptionIn(directory)));
    {
        QSettings settings(staged, QSettings::IniFormat);
        settings.setIniCodec("UTF-8");
        for (const UpgradeItem &entry : task.items)
            writeItem(settings, entry);
    }
    failIf(!readInstalledSoftware(staging).contains(task.product), QStringLiteral("%1 cannot be written").arg(staged));
}

} // namespace

void unpackPackages(const QList<UpgradeItem> &packages, const QString &directory, const std::atomic<bool> &stopping)
{
    PackageUnpacker unpacker(directory, stopping);
    for (const UpgradeItem &package : packages)
        unpacker.unpack(package);
    unpacker.finish();
}

void installPackages(const UpgradeTask &task, const QString &directory, const std::atomic<bool> &stopping)
{
    FileSwap swap(directory);
    swap.replace([&] {
        unpackPackages(task.items, swap.staging(), stopping);
        updateDescription(task, directory, swap.staging());
        failIf(stopping, QStringLiteral("the installation was cancelled"));
    });
}

} // namespace tarn::services
