#include "MGChildServiceConnection.h"

#include "MGFrames.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {
const QString InterruptedText = QStringLiteral("The connection to the ACL service was interrupted.");
using Clock = std::chrono::steady_clock;
}

struct MGChildServiceConnection::Session
{
    struct Call
    {
        ReplyHandler onReply;
        ErrorHandler onError;
        ProgressHandler onProgress;
        Clock::duration limit;
        Clock::time_point deadline;
    };

    pid_t pid = 0;
    int fd = -1;
    int wakeFd = -1; // tells the reader that a call with a nearer deadline has come
    QMutex lock;
    QMutex writeLock;
    QHash<quint64, Call> calls;
    bool dead = false;

    ~Session()
    {
        if (wakeFd >= 0)
            close(wakeFd);
    }

    bool add(quint64 id, Call call)
    {
        {
            QMutexLocker locker(&lock);
            if (dead)
                return false;
            call.deadline = Clock::now() + call.limit;
            calls.insert(id, std::move(call));
        }
        const quint64 one = 1;
        (void)!write(wakeFd, &one, sizeof one);
        return true;
    }
    std::optional<Call> take(quint64 id)
    {
        QMutexLocker locker(&lock);
        const auto it = calls.find(id);
        if (it == calls.end())
            return std::nullopt;
        Call call = *it;
        calls.erase(it);
        return call;
    }
    // A progress report: the call has its full time again. Answers its progress handler
    // (empty when it has none), or nothing when no such call waits.
    std::optional<ProgressHandler> refresh(quint64 id)
    {
        QMutexLocker locker(&lock);
        const auto it = calls.find(id);
        if (it == calls.end())
            return std::nullopt;
        it->deadline = Clock::now() + it->limit;
        return it->onProgress;
    }
    Clock::time_point nearestDeadline()
    {
        QMutexLocker locker(&lock);
        Clock::time_point nearest = Clock::time_point::max();
        for (const Call &call : std::as_const(calls))
            nearest = std::min(nearest, call.deadline);
        return nearest;
    }
    // Marks the session over and answers the calls still waiting, each taken once, with
    // whether its time had run out.
    QList<std::pair<Call, bool>> end()
    {
        QMutexLocker locker(&lock);
        dead = true;
        const Clock::time_point now = Clock::now();
        QList<std::pair<Call, bool>> waiting;
        for (const Call &call : std::as_const(calls))
            waiting << std::make_pair(call, call.deadline <= now);
        calls.clear();
        return waiting;
    }
};

MGChildServiceConnection::MGChildServiceConnection(QStringList command)
    : MGServiceConnection(QStringLiteral("com.quillwork.Marrowgate.Service.Replies")),
      m_command(command.isEmpty() ? defaultCommand() : std::move(command))
{
}

MGChildServiceConnection::~MGChildServiceConnection()
{
    std::shared_ptr<Session> session;
    std::vector<std::thread> readers;
    {
        QMutexLocker locker(&m_lock);
        session = m_session;
        readers.swap(m_readers);
    }
    if (session && session->pid > 0) {
        shutdown(session->fd, SHUT_RDWR);
        kill(session->pid, SIGKILL);
    }
    for (std::thread &reader : readers)
        reader.join();
}

namespace {
QMutex defaultCommandLock;
QStringList configuredCommand;

// The service executable installed (or built) beside this library: its place is fixed
// relative to the library's own, so nothing is looked up anywhere else.
QString serviceBesideThisLibrary()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&serviceBesideThisLibrary), &info) == 0 || !info.dli_fname)
        return QString();
    const QString library = QFileInfo(QFile::decodeName(info.dli_fname)).canonicalFilePath();
    return QDir::cleanPath(QFileInfo(library).absolutePath() + QStringLiteral("/" MARROWGATE_SERVICE_FROM_LIBDIR));
}
}

QStringList MGChildServiceConnection::defaultCommand()
{
    {
        QMutexLocker locker(&defaultCommandLock);
        if (!configuredCommand.isEmpty())
            return configuredCommand;
    }
    return {serviceBesideThisLibrary(), QStringLiteral("--stdio")};
}

void MGChildServiceConnection::setDefaultCommand(const QStringList &command)
{
    QMutexLocker locker(&defaultCommandLock);
    configuredCommand = command;
}

pid_t MGChildServiceConnection::processId() const
{
    QMutexLocker locker(&m_lock);
    return m_session && !m_session->dead ? m_session->pid : 0;
}

std::shared_ptr<MGChildServiceConnection::Session> MGChildServiceConnection::startSession(MGError *error)
{
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
        *error = connectionError(Invalid, QStringLiteral("The ACL service could not be started: %1")
                                              .arg(QString::fromLocal8Bit(strerror(errno))));
        return nullptr;
    }
    QList<QByteArray> arguments;
    for (const QString &part : std::as_const(m_command))
        arguments << part.toLocal8Bit();
    std::vector<char *> argv;
    for (QByteArray &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, sockets[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, sockets[1], STDOUT_FILENO);
    pid_t pid = 0;
    // A process group of its own: Ctrl+C at a terminal goes to the program that started it,
    // which decides what to stop, not to the service in the middle of a write.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    const int rc = posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(sockets[1]);
    if (rc != 0) {
        close(sockets[0]);
        *error = connectionError(Invalid, QStringLiteral("The ACL service \u201c%1\u201d could not be started: %2")
                                              .arg(m_command.join(QLatin1Char(' ')), QString::fromLocal8Bit(strerror(rc))));
        return nullptr;
    }
    // Earlier sessions have ended (a new one starts only then); their readers finish at once.
    for (std::thread &reader : m_readers)
        reader.join();
    m_readers.clear();
    auto session = std::make_shared<Session>();
    session->pid = pid;
    session->fd = sockets[0];
    session->wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_readers.emplace_back([this, session] { readReplies(session); });
    return session;
}

void MGChildServiceConnection::readReplies(std::shared_ptr<Session> session)
{
    QString failure = InterruptedText;
    ErrorCode code = Interrupted;
    MGFrameReader reader(session->fd, session->wakeFd);
    for (;;) {
        QByteArray frame;
        const MGFrames::ReadStatus status = reader.next(&frame, session->nearestDeadline());
        if (status == MGFrames::ReadStatus::Woken)
            continue;
        if (status == MGFrames::ReadStatus::TimedOut) {
            if (session->nearestDeadline() > Clock::now())
                continue; // a progress report moved it
            // A service that says nothing in time is stuck (stopped, or busy forever): it is
            // ended, and the next call starts a new one.
            kill(session->pid, SIGKILL);
            break;
        }
        if (status != MGFrames::ReadStatus::Ok && status != MGFrames::ReadStatus::TooLarge)
            break;
        QCborParserError parseError;
        const QCborValue reply = QCborValue::fromCbor(frame, &parseError);
        const QCborMap map = reply.toMap();
        const QCborValue id = map.value(MGAclProtocol::Field::Id);
        const bool wellFormed = status == MGFrames::ReadStatus::Ok && parseError.error == QCborError::NoError
            && reply.isMap() && id.isInteger();
        if (wellFormed && map.contains(MGAclProtocol::Field::Progress)) {
            if (const auto onProgress = session->refresh(quint64(id.toInteger()))) {
                if (*onProgress)
                    replyQueue().async([onProgress = *onProgress, map] { onProgress(map); });
                continue;
            }
        }
        std::optional<Session::Call> call;
        if (wellFormed && !map.contains(MGAclProtocol::Field::Progress))
            call = session->take(quint64(id.toInteger()));
        if (!call) {
            // Nothing the service says can be trusted after a reply that is not one.
            failure = QStringLiteral("The ACL service sent a malformed reply.");
            code = MalformedReply;
            kill(session->pid, SIGKILL);
            break;
        }
        replyQueue().async([onReply = call->onReply, map] { onReply(map); });
    }
    const MGError error = connectionError(code, failure);
    for (const auto &[call, timedOut] : session->end()) {
        const MGError answer = timedOut
            ? connectionError(TimedOut, QStringLiteral("The ACL service did not answer within %1 seconds.")
                                            .arg(std::chrono::duration_cast<std::chrono::seconds>(call.limit).count()))
            : error;
        replyQueue().async([onError = call.onError, answer] { onError(answer); });
    }
    close(session->fd);
    int status = 0;
    while (waitpid(session->pid, &status, 0) < 0 && errno == EINTR) {
    }
}

quint64 MGChildServiceConnection::send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply,
                                       ErrorHandler onError, ProgressHandler onProgress)
{
    std::shared_ptr<Session> session;
    quint64 id = 0;
    MGError startError;
    {
        QMutexLocker locker(&m_lock);
        id = m_nextId++;
        if (!m_session || m_session->dead)
            m_session = startSession(&startError);
        session = m_session;
    }
    if (!session) {
        replyQueue().async([onError, startError] { onError(startError); });
        return id;
    }
    const Clock::duration limit = timeLimit(method);
    if (!session->add(id, {std::move(onReply), onError, std::move(onProgress), limit, {}})) {
        replyQueue().async([onError] { onError(connectionError(Interrupted, InterruptedText)); });
        return id;
    }
    const QByteArray bytes = request(id, method, arguments).toCborValue().toCbor();
    int rc = 0;
    {
        QMutexLocker locker(&session->writeLock);
        rc = MGFrames::writeFrame(session->fd, bytes, Clock::now() + limit);
    }
    // A write into a closed connection is answered by the reader, which fails every
    // waiting call; so is a service that stopped reading (its time runs out); a request
    // too large to send fails on its own.
    if (rc == ETIMEDOUT)
        kill(session->pid, SIGKILL);
    if (rc == EMSGSIZE) {
        if (const auto call = session->take(id)) {
            const MGError tooLarge = connectionError(Invalid, QStringLiteral("The request is too large for the ACL service."));
            replyQueue().async([onError = call->onError, tooLarge] { onError(tooLarge); });
        }
    }
    return id;
}
