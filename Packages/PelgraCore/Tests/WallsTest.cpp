#include "isolation/Walls.h"
#include "isolation/CallNames.h"
#include "programs/RaiseWalls.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

Q_DECLARE_METATYPE(std::function<bool()>)

using namespace Pelgra;

namespace {

constexpr std::uint32_t bit(Wall wall)
{
    return static_cast<std::uint32_t>(wall);
}

constexpr Wall removable[] = {Wall::files, Wall::network, Wall::otherProcesses, Wall::calls, Wall::memory};

/// The answers of a process behind walls.
enum Answer { done = 0, refused = 1, failedOtherwise = 2, isMissing = 3 };

Answer answerFor(bool succeeded)
{
    if (succeeded)
        return done;
    return errno == EPERM || errno == EACCES || errno == ENOMEM || errno == ENOSYS ? refused : failedOtherwise;
}

/// Runs the attempt in a process behind all walls but those left out; missing where one of the others is not to be had.
Answer attemptBehindWalls(std::uint32_t leftOut, std::uint32_t needed, const std::function<bool()>& attempt)
{
    const pid_t process = fork();
    if (process == 0) {
        const std::uint32_t standing = raiseWalls(nullptr, leftOut);
        if ((standing & leftOut) != 0)
            _exit(failedOtherwise);
        if ((needed & ~leftOut & ~standing) != 0)
            _exit(isMissing);
        _exit(answerFor(attempt()));
    }
    int status = 0;
    if (process < 0 || waitpid(process, &status, 0) != process || !WIFEXITED(status))
        return failedOtherwise;
    return static_cast<Answer>(WEXITSTATUS(status));
}

bool canOpen(const std::filesystem::path& file, int flags)
{
    return open(file.c_str(), flags | O_CLOEXEC, 0600) >= 0;
}

/// The call itself: some releases of the C library change what its own function says of a failure.
bool canFork()
{
    const auto child = static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
    if (child == 0)
        _exit(0);
    return child > 0;
}

/// A socket that listens on the loopback interface, and its address.
struct Listener {
    Listener()
        : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const raw = reinterpret_cast<sockaddr*>(&address);
        isReady =
            bind(descriptor, raw, size) == 0 && listen(descriptor, 8) == 0 && getsockname(descriptor, raw, &size) == 0;
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { close(descriptor); }
    bool canConnect() const
    {
        const int client = socket(AF_INET, SOCK_STREAM, 0);
        return client >= 0 && connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    int descriptor;
    sockaddr_in address{};
    bool isReady = false;
};

} // namespace

/// Each thing a worker must not do is tried behind all walls, behind all but each one, and behind none.
class WallsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refuse_data()
    {
        QTest::addColumn<std::uint32_t>("guards");
        QTest::addColumn<std::function<bool()>>("attempt");
        const auto row = [](const char* name, std::uint32_t guards, std::function<bool()> attempt) {
            QTest::newRow(name) << guards << std::move(attempt);
        };
        const std::filesystem::path own = m_folder.write("own.txt", "mine");
        row("a file of the system", bit(Wall::files), [] { return canOpen("/etc/passwd", O_RDONLY); });
        row("a file of the user", bit(Wall::files), [own] { return canOpen(own, O_RDONLY); });
        row("a folder of the user", bit(Wall::files), [own] { return canOpen(own.parent_path(), O_RDONLY); });
        row("writing to a file", bit(Wall::files) | bit(Wall::calls), [own] { return canOpen(own, O_WRONLY); });
        row("a file beside the input", bit(Wall::files) | bit(Wall::calls),
            [own] { return canOpen(own.parent_path() / "new", O_WRONLY | O_CREAT); });
        row("removing a file", bit(Wall::files) | bit(Wall::calls),
            [this] { return unlink((m_folder / "removable").c_str()) == 0; });
        row("a socket", bit(Wall::calls), [] { return socket(AF_UNIX, SOCK_STREAM, 0) >= 0; });
        row("a connection", bit(Wall::calls) | bit(Wall::network), [this] { return m_listener.canConnect(); });
        row("a signal to another process", bit(Wall::calls) | bit(Wall::otherProcesses),
            [] { return kill(getppid(), SIGCONT) == 0; });
        row("a look into another process", bit(Wall::calls) | bit(Wall::files),
            [] { return ptrace(PTRACE_SEIZE, getppid(), nullptr, nullptr) == 0; });
        row("another process", bit(Wall::calls), &canFork);
        row("another program", bit(Wall::calls) | bit(Wall::files), [] {
            char* const arguments[] = {const_cast<char*>("true"), nullptr};
            return execv("/bin/true", arguments) == 0; // leaves with 0, which is "done"
        });
        row("more memory", bit(Wall::memory), [] {
            return mmap(nullptr, workerMemoryLimit() + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                != MAP_FAILED;
        });
    }
    void refuse()
    {
        QFETCH(std::uint32_t, guards);
        QFETCH(std::function<bool()>, attempt);
        QVERIFY(m_listener.isReady);
        std::vector<std::uint32_t> leftOut{0};
        std::uint32_t all = 0;
        for (const Wall wall : removable) {
            leftOut.push_back(bit(wall));
            all |= bit(wall);
        }
        leftOut.push_back(all);
        for (const std::uint32_t without : leftOut) {
            m_folder.write("removable", "");
            const Answer answer = attemptBehindWalls(without, guards, attempt);
            if (answer == isMissing)
                QSKIP("this system lacks one of the walls");
            const bool isGuarded = (guards & ~without) != 0;
            const std::string which = "without " + std::to_string(without) + ": " + std::to_string(answer);
            QVERIFY2(answer == (isGuarded ? refused : done), which.c_str());
        }
    }

    /// What the system and the sanitizers have is also used: nothing is switched off by mistake.
    void standAsFarAsTheSystemHasThem()
    {
        const pid_t process = fork();
        if (process == 0)
            _exit(static_cast<int>(raiseWalls(nullptr)));
        int status = 0;
        QCOMPARE(waitpid(process, &status, 0), process);
        const auto standing = static_cast<std::uint32_t>(WEXITSTATUS(status));
        QVERIFY((standing & bit(Wall::noNewPrivileges)) != 0);
        QVERIFY((standing & bit(Wall::calls)) != 0);
        QCOMPARE(wallReport(standing).size(), std::size_t{6});
    }

    void aRefusedCallIsTold_data()
    {
        QTest::addColumn<std::function<bool()>>("isRefused");
        QTest::addColumn<std::string>("name");
        QTest::newRow("by the filter") << std::function([] {
            return socket(AF_INET, SOCK_STREAM, 0) < 0 && errno == EPERM;
        }) << std::string("socket");
        QTest::newRow("by Landlock") << std::function([] {
            return !canOpen("/etc/passwd", O_RDONLY) && errno == EACCES;
        }) << std::string("openat");
        QTest::newRow("by Landlock, in a library")
            << std::function([] { return !std::ifstream("/etc/passwd").is_open(); }) << std::string("openat");
    }
    /// A refused call fails like any other, and is told of once.
    void aRefusedCallIsTold()
    {
        QFETCH(std::function<bool()>, isRefused);
        QFETCH(std::string, name);
        constexpr int withoutWall = 2;
        int ends[2] = {-1, -1};
        QCOMPARE(pipe(ends), 0);
        static int told = -1;
        told = ends[1];
        const pid_t process = fork();
        if (process == 0) {
            const std::uint32_t standing = raiseWalls([](std::uint32_t number) {
                const ssize_t size = write(told, &number, sizeof number);
                static_cast<void>(size);
            });
            if (name == "openat" && (standing & bit(Wall::files)) == 0)
                _exit(withoutWall);
            const bool first = isRefused();
            const bool second = isRefused();
            _exit(first && second ? 0 : 1);
        }
        close(ends[1]);
        int status = -1;
        QCOMPARE(waitpid(process, &status, 0), process);
        std::uint32_t number = 0;
        const ssize_t size = read(ends[0], &number, sizeof number);
        std::uint32_t more = 0;
        const ssize_t sizeOfMore = read(ends[0], &more, sizeof more);
        close(ends[0]);
        if (WIFEXITED(status) && WEXITSTATUS(status) == withoutWall)
            QSKIP("this system has no Landlock");
        QCOMPARE(status, 0);
        QCOMPARE(size, ssize_t{sizeof number});
        QCOMPARE(nameOfCall(number), name);
        QCOMPARE(sizeOfMore, ssize_t{0});
    }

private:
    TemporaryFolder m_folder;
    Listener m_listener;
};

QTEST_GUILESS_MAIN(WallsTest)
#include "WallsTest.moc"
