#include "MGSmbRpcPipe.h"

#include "MGNdr.h"

#include <QtEndian>
#include <cerrno>

namespace {
// Connection-oriented remote procedure calls, version 5.0: the packet types and flags used.
enum PacketType : quint8 { Request = 0, Response = 2, Fault = 3, Bind = 11, BindAck = 12, BindNak = 13 };
constexpr quint8 FirstFragment = 0x01, LastFragment = 0x02;
constexpr qsizetype HeaderSize = 16;
constexpr quint16 FragmentSize = 4280;
// The transfer syntax every server speaks: NDR, version 2.
const QUuid Ndr(0x8a885d04, 0x1ceb, 0x11c9, 0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60);

MGError nonsense(const QString &why)
{
    return MGError::posixError(EPROTO, QStringLiteral("The server answered a call in a form that cannot be read: %1.").arg(why));
}

// A packet: the common header before the body.
QByteArray packet(PacketType type, quint32 callId, const QByteArray &body)
{
    MGNdrWriter b;
    b.u8(5);
    b.u8(0);
    b.u8(type);
    b.u8(FirstFragment | LastFragment);
    b.u32(0x10); // little-endian integers, ASCII, IEEE floating point
    b.u16(quint16(HeaderSize + body.size()));
    b.u16(0); // no authentication
    b.u32(callId);
    b.bytes(body);
    return b.data();
}
}

MGResult<MGSmbRpcPipe> MGSmbRpcPipe::open(const MGSmbClient &client, const QString &server, const QString &pipe,
                                          const Interface &interface)
{
    MGResult<std::unique_ptr<MGSmbClient::Pipe>> opened = client.openPipe(server, pipe);
    if (!opened)
        return opened.error();
    MGSmbRpcPipe rpc(std::move(*opened));
    MGNdrWriter bind;
    bind.u16(FragmentSize);
    bind.u16(FragmentSize);
    bind.u32(0); // a new association
    bind.u8(1);  // one presentation context
    bind.u8(0);
    bind.u16(0);
    bind.u16(0); // context 0
    bind.u8(1);  // one transfer syntax
    bind.u8(0);
    bind.uuid(interface.uuid);
    bind.u16(interface.major);
    bind.u16(interface.minor);
    bind.uuid(Ndr);
    bind.u32(2);
    if (MGResultError error = rpc.m_pipe->write(packet(Bind, rpc.m_callId++, bind.data())))
        return *error;
    const MGResult<Message> ack = rpc.receive();
    if (!ack)
        return ack.error();
    if (ack->type != BindAck)
        return MGError::posixError(ENOTSUP, QStringLiteral("The server does not offer the call this needs on its pipe "
                                                           "\u201c%1\u201d.")
                                                .arg(pipe));
    return rpc;
}

MGResult<MGSmbRpcPipe::Message> MGSmbRpcPipe::receive()
{
    Message message;
    for (;;) {
        const MGResult<QByteArray> header = m_pipe->read(HeaderSize);
        if (!header)
            return header.error();
        const auto *h = reinterpret_cast<const uchar *>(header->constData());
        const quint16 length = qFromLittleEndian<quint16>(h + 8);
        const quint16 authLength = qFromLittleEndian<quint16>(h + 10);
        if (h[0] != 5 || length < HeaderSize + authLength)
            return nonsense(QStringLiteral("a packet of version %1 and length %2").arg(h[0]).arg(length));
        const MGResult<QByteArray> rest = m_pipe->read(length - HeaderSize);
        if (!rest)
            return rest.error();
        message.type = h[2];
        // Responses and faults carry an allocation hint, a context and a count before their data.
        const qsizetype skip = (message.type == Response || message.type == Fault) ? 8 : 0;
        if (rest->size() - authLength < skip)
            return nonsense(QStringLiteral("a packet shorter than its kind"));
        message.body += rest->mid(skip, rest->size() - authLength - skip);
        if (message.body.size() > MaximumReply)
            return nonsense(QStringLiteral("a reply longer than %1 bytes").arg(MaximumReply));
        if (h[3] & LastFragment)
            return message;
    }
}

MGResult<QByteArray> MGSmbRpcPipe::call(quint16 operation, const QByteArray &request)
{
    MGNdrWriter body;
    body.u32(quint32(request.size())); // allocation hint
    body.u16(0);                       // context 0
    body.u16(operation);
    body.bytes(request);
    // Requests here are small: one fragment each.
    if (HeaderSize + body.data().size() > FragmentSize)
        return MGError::posixError(EMSGSIZE, QStringLiteral("A call to the server is too long to send."));
    if (MGResultError error = m_pipe->write(packet(Request, m_callId++, body.data())))
        return *error;
    const MGResult<Message> reply = receive();
    if (!reply)
        return reply.error();
    if (reply->type == Fault) {
        const quint32 status = reply->body.size() >= 4 ? qFromLittleEndian<quint32>(reply->body.constData()) : 0;
        return MGError::posixError(status == 5 ? EACCES : EPROTO,
                                   QStringLiteral("The server refused a call (fault 0x%1).").arg(status, 8, 16, QLatin1Char('0')));
    }
    if (reply->type != Response)
        return nonsense(QStringLiteral("a packet of kind %1 where a response belongs").arg(reply->type));
    return reply->body;
}
