// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Places where writing fails, for the tests of what writers leave behind: a file system that is
// full, one that is read-only, and a folder the writer may not change even when the tests run as
// root (who ignores file permissions).
//
// Each case runs in a child process of its own. As root the child takes a private mount
// namespace; as another user it takes a user namespace (where it is root) first. In it a small
// tmpfs is mounted that nobody else sees and that goes away with the child, so the host's file
// systems are never touched. Without either namespace (a container that forbids them) the case
// cannot be set up and is skipped with the reason.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTest>

#include <functional>

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QJTest
{
namespace ScratchDetail
{
constexpr int CannotSetUp = 77;

inline bool writeProcFile(const char *path, const QByteArray &text)
{
    const int fd = ::open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = ::write(fd, text.constData(), size_t(text.size())) == text.size();
    ::close(fd);
    return ok;
}

// Leaves the host's mounts: a mount namespace of our own whose mounts do not propagate back.
inline QByteArray enterPrivateMounts()
{
    if (::unshare(CLONE_NEWNS) != 0) {
        const uid_t uid = ::geteuid();
        const gid_t gid = ::getegid();
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return "neither a mount namespace nor a user namespace can be made here";
        if (!writeProcFile("/proc/self/setgroups", "deny")
            || !writeProcFile("/proc/self/uid_map", "0 " + QByteArray::number(uid) + " 1")
            || !writeProcFile("/proc/self/gid_map", "0 " + QByteArray::number(gid) + " 1"))
            return "the user namespace cannot be set up";
    }
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return "the mounts cannot be made private";
    return QByteArray();
}
} // namespace ScratchDetail

/** What a case can do with its place. */
struct Scratch
{
    QString dir; // where the tmpfs is mounted (when one was asked for)

    /** Makes the tmpfs read-only, for root as well. */
    bool remountReadOnly() const
    {
        return ::mount("none", QFile::encodeName(dir).constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

    /**
     * Makes this process obey file permissions as an ordinary user does: root keeps its identity
     * but loses the capabilities that override permissions.
     */
    static bool obeyPermissions()
    {
        __user_cap_header_struct header {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2] {};
        if (::syscall(SYS_capget, &header, data) != 0)
            return false;
        for (int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER})
            data[capability / 32].effective &= ~(1u << (capability % 32));
        return ::syscall(SYS_capset, &header, data) == 0;
    }

    /**
     * Takes writing away as the case named @p place asks: "read-only" remounts the tmpfs, a place
     * starting with "locked" leaves @p locked readable only and drops root's overrides.
     * @return what could not be done, or an empty string.
     */
    QString makeUnwritable(const QString &place, const QString &locked) const
    {
        if (place == u"read-only" && !remountReadOnly())
            return QStringLiteral("cannot remount read-only");
        if (place.startsWith(u"locked")
            && (!QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner) || !obeyPermissions()))
            return QStringLiteral("cannot take the write permission away");
        return QString();
    }
};

/**
 * Runs @p body in a child process, with a private tmpfs of @p kilobytes mounted at @p dir (an
 * existing, empty folder) when @p kilobytes is not 0. The body (the last argument) answers an empty string when all
 * went as expected, else what went wrong, which fails the test; a case that cannot be set up is
 * skipped. Use only from a test function (it uses QFAIL and QSKIP).
 */
#define QJ_RUN_IN_SCRATCH(dir, kilobytes, ...)                                                                         \
    do {                                                                                                               \
        const QJTest::ScratchOutcome outcome_ = QJTest::runInScratch(dir, kilobytes, __VA_ARGS__);                     \
        if (outcome_.skipped)                                                                                          \
            QSKIP(qPrintable(outcome_.message));                                                                       \
        if (!outcome_.message.isEmpty())                                                                               \
            QFAIL(qPrintable(outcome_.message));                                                                       \
    } while (false)

struct ScratchOutcome
{
    bool skipped = false;
    QString message;
};

inline ScratchOutcome runInScratch(const QString &dir, int kilobytes, const std::function<QString(Scratch &)> &body)
{
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0)
        return {false, QStringLiteral("no pipe to the child")};
    const pid_t child = ::fork();
    if (child < 0)
        return {false, QStringLiteral("cannot fork")};
    if (child == 0) {
        ::close(pipeFds[0]);
        int code = 0;
        QByteArray message;
        Scratch scratch {dir};
        if (kilobytes > 0) {
            message = ScratchDetail::enterPrivateMounts();
            if (message.isEmpty()
                && ::mount("qjkit-test", QFile::encodeName(dir).constData(), "tmpfs", MS_NOSUID | MS_NODEV,
                       ("size=" + QByteArray::number(kilobytes) + "k,mode=0777").constData())
                    != 0)
                message = "a tmpfs cannot be mounted";
            if (!message.isEmpty())
                code = ScratchDetail::CannotSetUp;
        }
        if (code == 0) {
            message = body(scratch).toUtf8();
            code = message.isEmpty() ? 0 : 1;
        }
        (void)!::write(pipeFds[1], message.constData(), size_t(message.size()));
        ::_exit(code); // no exit handlers: they belong to the parent
    }
    ::close(pipeFds[1]);
    QByteArray message;
    char buffer[512];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) != 0;) {
        if (n > 0)
            message.append(buffer, n);
        else if (errno != EINTR)
            break;
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    if (!WIFEXITED(status))
        return {false, QStringLiteral("the child ended abnormally: ") + QString::fromUtf8(message)};
    if (WEXITSTATUS(status) == ScratchDetail::CannotSetUp)
        return {true, QString::fromUtf8(message)};
    if (WEXITSTATUS(status) != 0 && message.isEmpty())
        message = "the child failed with status " + QByteArray::number(WEXITSTATUS(status));
    return {false, QString::fromUtf8(message)};
}
} // namespace QJTest
