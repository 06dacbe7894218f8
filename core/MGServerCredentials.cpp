#include "MGServerCredentials.h"

#include <QFile>
#include <cerrno>
#include <cstring>
#include <sys/prctl.h>

namespace {
constexpr qint64 MaximumFileSize = 64 * 1024;

void overwrite(QByteArray &bytes)
{
    if (!bytes.isEmpty()) {
        // explicit_bzero survives optimisation where memset over a dying buffer may not.
        explicit_bzero(bytes.data(), size_t(bytes.size()));
    }
    bytes.clear();
}
}

MGServerCredentials::MGServerCredentials(QString user, QByteArray password, QString domain)
    : m_user(std::move(user)), m_password(std::move(password)), m_domain(std::move(domain))
{
    m_password.detach();
    if (!m_password.isEmpty())
        protectProcess();
}

MGServerCredentials::MGServerCredentials(const MGServerCredentials &other)
    : m_user(other.m_user), m_password(other.m_password), m_domain(other.m_domain)
{
    m_password.detach();
}

MGServerCredentials &MGServerCredentials::operator=(const MGServerCredentials &other)
{
    if (this != &other) {
        wipe();
        m_user = other.m_user;
        m_password = other.m_password;
        m_password.detach();
        m_domain = other.m_domain;
    }
    return *this;
}

MGServerCredentials::~MGServerCredentials()
{
    wipe();
}

void MGServerCredentials::wipe()
{
    overwrite(m_password);
}

void MGServerCredentials::protectProcess()
{
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

MGResult<MGServerCredentials> MGServerCredentials::fromAuthenticationFile(const QString &path)
{
    const auto failure = [&](int code, const QString &why) {
        return MGError::posixError(code, QStringLiteral("Cannot read the authentication file \u201c%1\u201d: %2").arg(path, why));
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(file.error() == QFileDevice::OpenError && !file.exists() ? ENOENT : EACCES, file.errorString());
    if (file.size() > MaximumFileSize)
        return failure(EFBIG, QStringLiteral("it is larger than %1 bytes").arg(MaximumFileSize));
    QByteArray text = file.read(MaximumFileSize + 1);
    QString user, domain;
    QByteArray password;
    int lineNumber = 0;
    std::optional<MGError> problem;
    for (QByteArray line : text.split('\n')) {
        ++lineNumber;
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith('#') || line.startsWith(';'))
            continue;
        const qsizetype equals = line.indexOf('=');
        const QByteArray key = line.left(equals).trimmed().toLower();
        const QByteArray value = line.mid(equals + 1).trimmed();
        if (equals < 0 || (key != "username" && key != "password" && key != "domain")) {
            problem = failure(EINVAL, QStringLiteral("line %1 is not \u201cusername =\u201d, \u201cpassword =\u201d or "
                                                     "\u201cdomain =\u201d")
                                          .arg(lineNumber));
            break;
        }
        if (key == "username")
            user = QString::fromUtf8(value);
        else if (key == "domain")
            domain = QString::fromUtf8(value);
        else
            password = value;
    }
    overwrite(text);
    if (problem) {
        overwrite(password);
        return *problem;
    }
    if (user.isEmpty()) {
        overwrite(password);
        return failure(EINVAL, QStringLiteral("it names no user (\u201cusername = NAME\u201d)"));
    }
    if (const qsizetype slash = user.indexOf(QLatin1Char('\\')); slash > 0) {
        domain = user.left(slash);
        user = user.mid(slash + 1);
    }
    MGServerCredentials credentials(user, password, domain);
    overwrite(password);
    return credentials;
}

QCborMap MGServerCredentials::toCbor() const
{
    return QCborMap{{QStringLiteral("user"), m_user}, {QStringLiteral("password"), m_password},
                    {QStringLiteral("domain"), m_domain}};
}

MGServerCredentials MGServerCredentials::fromCbor(const QCborMap &map)
{
    return MGServerCredentials(map.value(QStringLiteral("user")).toString(), map.value(QStringLiteral("password")).toByteArray(),
                               map.value(QStringLiteral("domain")).toString());
}
