#include "services/PackageUnpacker.h"
#include "services/FileSwap.h"
#include "services/Files.h"
#include <QCryptographicHash>
#include <QFile>
#include <QScopeGuard>
#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tarn::services {

namespace {

constexpr qint64 MaxMembers = 1000000;
constexpr size_t MaxLinks = 100000;
constexpr size_t MaxPath = 4096; // bytes
constexpr int BlockSize = 256 * 1024;
constexpr mode_t UsualMode = 0755;

// The package file as the library reads it.
struct Source
{
    const int descriptor;
    const std::atomic<bool> &stopping;
    QByteArray block = QByteArray(BlockSize, '\0');
    QCryptographicHash hash{QCryptographicHash::Sha256};

    // The number of bytes in block, 0 at the end, -1 with errno.
    ssize_t next()
    {
        if (stopping) {
            errno = ECANCELED;
            return -1;
        }
        ssize_t size = 0;
        do
            size = ::read(descriptor, block.data(), static_cast<size_t>(block.size()));
        while (size < 0 && errno == EINTR);
        if (size > 0)
            hash.addData(block.constData(), static_cast<int>(size));
        return size;
    }
};

la_ssize_t readSource(archive *reader, void *context, const void **data)
{
    Source &source = *static_cast<Source *>(context);
    const ssize_t size = source.next();
    if (size < 0)
        archive_set_error(reader, errno, "%s", qPrintable(systemError()));
    *data = source.block.constData();
    return size;
}

QString shown(const std::string &name)
{
    return QString::fromStdString(name).left(300);
}

Failure badPackage(const char *problem, const std::string &name)
{
    return Failure(QStringLiteral("the package %1: %2").arg(QLatin1String(problem), shown(name)));
}

Failure cannotUnpack(const QString &reason)
{
    return Failure(QStringLiteral("the package cannot be unpacked: %1").arg(reason));
}

Failure failureOf(archive *reader)
{
    return cannotUnpack(QString::fromLocal8Bit(archive_error_string(reader)).left(300));
}

// Throws the failure of the last system call unless it succeeded.
void check(bool success, const fs::path &path)
{
    if (!success)
        throw systemFailure(shown(path.string()));
}

// A path below the directory; without "." and empty parts.
fs::path cleanPath(const std::string &name)
{
    if (name.size() > MaxPath || name.empty() || name.front() == '/')
        throw badPackage("has a path outside of its folder", name);
    fs::path path;
    for (const fs::path &part : fs::path(name)) {
        if (part == "..")
            throw badPackage("has a path outside of its folder", name);
        if (part == FileSwap::AreaName)
            throw badPackage("uses a reserved name", name);
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

// Links are created after all files of all packages, so that no path of a package ever leads through a link.
class PackageUnpacker
{
public:
    PackageUnpacker(const QString &directory, const std::atomic<bool> &stopping)
        : m_directory(directory)
        , m_root(QFile::encodeName(directory).toStdString())
        , m_stopping(stopping)
    {
    }

    void unpack(const Package &package)
    {
        const int descriptor = openRegular(package.file);
        if (descriptor < 0)
            throw systemFailure(package.file);
        const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
        struct stat info = {};
        if (::fstat(descriptor, &info) != 0 || info.st_size != package.size)
            throw Failure(QStringLiteral("the package has %1 bytes instead of %2")
                              .arg(QString::number(info.st_size), QString::number(package.size)));
        Source source{descriptor, m_stopping};
        const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), &archive_read_free);
        archive_read_support_format_tar(reader.get());
        for (const auto support : {&archive_read_support_filter_gzip, &archive_read_support_filter_bzip2,
                                   &archive_read_support_filter_xz, &archive_read_support_filter_zstd})
            support(reader.get());
        if (archive_read_open(reader.get(), &source, nullptr, &readSource, nullptr) != ARCHIVE_OK)
            throw failureOf(reader.get());
        readMembers(reader.get());
        ssize_t left = 0; // bytes behind the archive belong to the checksum
        do
            left = source.next();
        while (left > 0);
        if (left < 0)
            throw systemFailure(package.file);
        const QString sum = QString::fromLatin1(source.hash.result().toHex());
        if (sum != package.sha256.toLower())
            throw Failure(QStringLiteral("the checksum is wrong: %1 instead of %2").arg(sum, package.sha256));
    }

    // Hard links first: their targets are files that were unpacked, reached through no link.
    void makeLinks() const
    {
        for (const bool isHard : {true, false}) {
            for (const auto &[path, link] : m_links) {
                if (link.isHard == isHard)
                    makeLink(path, link);
            }
        }
    }

private:
    using Path = fs::path;
    struct Link
    {
        std::string target;
        bool isHard = false;
    };

    void readMembers(archive *reader)
    {
        archive_entry *entry = nullptr;
        int status = ARCHIVE_OK;
        while ((status = archive_read_next_header(reader, &entry)) != ARCHIVE_EOF) {
            if (status < ARCHIVE_WARN)
                throw failureOf(reader);
            addMember(reader, entry);
        }
    }

    void addMember(archive *reader, archive_entry *entry)
    {
        const char *local = archive_entry_pathname(entry); // null where the locale cannot represent a UTF-8 name
        const char *const name = local ? local : archive_entry_pathname_utf8(entry);
        if (!name)
            throw Failure(QStringLiteral("the package has a member without a readable name"));
        if (++m_members > MaxMembers)
            throw Failure(QStringLiteral("the package has more than %1 members").arg(MaxMembers));
        const Path path = cleanPath(name);
        if (path.empty())
            return;
        const char *const hardLink = archive_entry_hardlink(entry);
        const auto type = archive_entry_filetype(entry);
        if (path.filename() == "installation.ini") {
            if (path.has_parent_path() || hardLink || type != AE_IFREG)
                throw badPackage("has an install description where there must be none", name);
            return; // the installer writes the description
        }
        const mode_t mode = archive_entry_perm(entry) & UsualMode;
        if (hardLink)
            return addLink(path, {hardLink, true});
        if (type == AE_IFLNK)
            return addLink(path, {archive_entry_symlink(entry) ? archive_entry_symlink(entry) : "", false});
        if (type == AE_IFDIR) {
            makeDirectories(path);
            return check(::chmod((m_root / path).c_str(), mode | S_IRWXU) == 0, path);
        }
        if (type != AE_IFREG)
            throw badPackage("has a member that is neither a file nor a directory", name);
        requireSpace(m_directory, archive_entry_size(entry));
        addFile(reader, path, mode | S_IRUSR | S_IWUSR);
    }

    void addLink(const Path &path, const Link &link)
    {
        if (link.target.size() > MaxPath || (m_links.size() >= MaxLinks && m_links.count(path) == 0))
            throw badPackage("has too many or too long links", path.string());
        m_links[path] = link;
    }

    void addFile(archive *reader, const Path &path, unsigned mode)
    {
        makeDirectories(path.parent_path());
        m_links.erase(path); // the later member of one name counts
        removeOld(path);
        const int descriptor =
            ::open((m_root / path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        check(descriptor >= 0, path);
        const QString error = errorOf([&] {
            writeContent(reader, descriptor);
            check(::fchmod(descriptor, mode) == 0, path);
        });
        const bool closed = ::close(descriptor) == 0;
        if (!error.isEmpty())
            throw Failure(error);
        check(closed, path);
    }

    void writeContent(archive *reader, int descriptor) const
    {
        const void *block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        int status = ARCHIVE_OK;
        while ((status = archive_read_data_block(reader, &block, &size, &offset)) == ARCHIVE_OK) {
            if (m_stopping)
                throw Failure(QStringLiteral("the installation was cancelled"));
            requireSpace(m_directory, static_cast<qint64>(size));
            const char *data = static_cast<const char *>(block);
            while (size > 0) {
                const ssize_t written = ::pwrite(descriptor, data, size, offset);
                if (written < 0 && errno != EINTR)
                    throw cannotUnpack(systemError());
                const ssize_t done = std::max<ssize_t>(written, 0);
                data += done;
                size -= static_cast<size_t>(done);
                offset += done;
            }
        }
        if (status != ARCHIVE_EOF)
            throw failureOf(reader);
        // A sparse file may end with a hole: the last offset is its size then.
        if (::lseek(descriptor, 0, SEEK_END) < offset && ::ftruncate(descriptor, offset) != 0)
            throw cannotUnpack(systemError());
    }

    void makeDirectories(const Path &path) const
    {
        Path made = m_root;
        for (const Path &part : path) {
            made /= part;
            struct stat info = {};
            if (::mkdir(made.c_str(), 0700) == 0) {
                check(::chmod(made.c_str(), UsualMode) == 0, made); // whatever the umask is
                continue;
            }
            check(errno == EEXIST && ::lstat(made.c_str(), &info) == 0, made);
            if (!S_ISDIR(info.st_mode))
                throw badPackage("has a file here and a directory there", path.string());
        }
    }

    void removeOld(const Path &path) const { check(::unlink((m_root / path).c_str()) == 0 || errno == ENOENT, path); }

    void makeLink(const Path &path, const Link &link) const
    {
        makeDirectories(path.parent_path());
        const Path place = m_root / path;
        removeOld(path);
        if (!link.isHard) {
            if (leadsOut(path, link.target))
                throw badPackage("has a link that leads out of its folder", path.string());
            return check(::symlink(link.target.c_str(), place.c_str()) == 0, path);
        }
        const Path target = m_root / cleanPath(link.target);
        struct stat info = {};
        if (::lstat(target.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
            throw badPackage("has a hard link to a file that it does not have", path.string());
        check(::link(target.c_str(), place.c_str()) == 0, path);
    }

    const QString m_directory;
    const Path m_root;
    const std::atomic<bool> &m_stopping;
    std::map<Path, Link> m_links; ///< by path below the directory
    qint64 m_members = 0;
};

} // namespace

void unpackPackages(const QList<Package> &packages, const QString &directory, const std::atomic<bool> &stopping)
{
    PackageUnpacker unpacker(directory, stopping);
    for (const Package &package : packages)
        unpacker.unpack(package);
    unpacker.makeLinks();
}

} // namespace tarn::services
