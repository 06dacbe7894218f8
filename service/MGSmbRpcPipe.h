#pragma once

#include "MGSmbClient.h"

#include <QUuid>

// Remote procedure calls to a file server over one of its named pipes: the pipe bound to one
// interface, then calls by number, each an encoded request out and an encoded reply back
// (the reply's fragments joined). For the few calls the SMB client library does not make
// itself. A reply may not grow past a bound, and a server that answers with a fault or
// nonsense gives an error.
class MGSmbRpcPipe
{
public:
    struct Interface
    {
        QUuid uuid;
        quint16 major = 0, minor = 0;
    };
    static MGResult<MGSmbRpcPipe> open(const MGSmbClient &client, const QString &server, const QString &pipe,
                                       const Interface &interface);

    // The reply's stub data, or the server's fault as an error.
    MGResult<QByteArray> call(quint16 operation, const QByteArray &request);

    static constexpr qsizetype MaximumReply = 1024 * 1024;

private:
    explicit MGSmbRpcPipe(std::unique_ptr<MGSmbClient::Pipe> pipe) : m_pipe(std::move(pipe)) {}
    // One message from the server: its header's type and the fragments' bodies joined.
    struct Message
    {
        int type = 0;
        QByteArray body;
    };
    MGResult<Message> receive();

    std::shared_ptr<MGSmbClient::Pipe> m_pipe;
    quint32 m_callId = 1;
};
