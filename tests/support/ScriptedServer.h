#pragma once

#include <QMap>

#include <functional>
#include <future>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>
#include <vector>

namespace Orvane::Tests {

/// A little WebDAV server on a free port of 127.0.0.1, healthy but for its faults and what it does not keep
/// to. Its collection is "/dav/", its token "secret". It grants changes of properties and forgets them. It
/// serves one connection after the other, each for as long as it lasts.
struct ScriptedServer
{
    /// What becomes of the connection. The last three let the client wait, for two seconds at most; "Cancels"
    /// calls onCancel first.
    static constexpr int GoesOn = 0, Closes = 1, Resets = 2, Waits = 3, Drips = 4, Cancels = 5;

    /// What happens to the n-th request with one method, and to those that follow.
    struct Fault
    {
        QByteArray from = {}; ///< is replaced in the healthy answer; if empty, the whole
        QByteArray to = {};   ///< unless this is empty, too
        bool isDone = true;   ///< what is asked
        bool isRead = true;   ///< the request's body
        int kept = 1 << 30;   ///< bytes of the answer that are sent; if negative, that are not
        int ending = GoesOn;
        QByteArray method = {};
        int first = 1, times = 1; ///< counted from when the fault is set
    };

    using Texts = QMap<QByteArray, QByteArray>;

    /// @param wantedPort  0 for any free one; "origin" stays empty when it is not free
    explicit ScriptedServer(int wantedPort = 0)
    {
        const int isReused = 1;
        ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &isReused, sizeof isReused);
        sockaddr_in address = {AF_INET, htons(uint16_t(wantedPort)), {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0)
            return;
        ::listen(listener, 64);
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
        origin = "http://127.0.0.1:" + std::to_string(port);
        serving = std::async(std::launch::async, [this] {
            for (int socket = 0; (socket = ::accept(listener, nullptr, nullptr)) >= 0;) {
                SetConnection(socket);
                while (Serve(socket)) {
                }
                SetConnection(-1);
                ::close(socket);
            }
            ::close(listener);
        });
    }

    ~ScriptedServer()
    {
        ::shutdown(listener, SHUT_RDWR);
        if (origin.empty())
            ::close(listener);
        const std::lock_guard lock(connectionMutex);
        ::shutdown(connection, SHUT_RDWR); // as a server does that is stopped
    }

    void SetConnection(int socket)
    {
        const std::lock_guard lock(connectionMutex);
        connection = socket;
    }

    bool Serve(int socket)
    {
        QByteArray head;
        for (char byte = 0; !head.endsWith("\r\n\r\n"); head += byte)
            if (::recv(socket, &byte, 1, 0) != 1)
                return false;
        const std::lock_guard lock(mutex);
        heard += head;
        const auto method = head.left(head.indexOf(' '));
        Fault fault;
        for (auto& one : faults)
            if (one.method == method && --one.first < 1 && --one.times >= 0)
                fault = one;
        Texts headers;
        for (const auto& line : head.split('\n'))
            headers[line.left(line.indexOf(':')).toLower()] = line.mid(line.indexOf(':') + 1).trimmed();
        QByteArray body(fault.isRead ? headers["content-length"].toInt() : 0, 0);
        if (!body.isEmpty() && ::recv(socket, body.data(), size_t(body.size()), MSG_WAITALL) != body.size())
            return false;
        if (head == last && (method == "MOVE" || method == "DELETE"))
            documents["asked twice without a look"] = head;
        auto name = head.mid(method.size() + 6).split(' ').first().split('?').first();
        if (name.startsWith("%252E"))
            name = QByteArray::fromPercentEncoding(name);
        if (onRequest)
            onRequest(method, name);
        if (takesOver && takesOver(method, socket))
            return false;
        auto said = fault.isDone ? Answer(method, name, headers, body) : QByteArray();
        if (!fault.to.isEmpty())
            said = fault.from.isEmpty() ? fault.to : said.replace(fault.from, fault.to);
        said.replace("@", QByteArray::number(said.size() - said.indexOf("\r\n\r\n") - 4));
        said.truncate(fault.kept < 0 ? std::max(25, said.size() + fault.kept) : fault.kept);
        ::send(socket, said.data(), size_t(said.size()), MSG_NOSIGNAL);
        last = said.startsWith("HTTP/1.1 4") ? QByteArray() : head; // a refusal leaves no doubt
        if (fault.ending == Cancels)
            onCancel();
        const linger abruptly{fault.ending == Resets, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly);
        pollfd client{socket, POLLRDHUP, 0};
        for (int turn = 0; turn < 100 && fault.ending >= Waits && ::poll(&client, 1, 20) == 0; ++turn)
            ::send(socket, "x", fault.ending == Drips, MSG_NOSIGNAL);
        return fault.ending == GoesOn;
    }

    /// Does what is asked. In the answer, "@" stands for the length of the body.
    QByteArray Answer(const QByteArray& method, const QByteArray& name, Texts headers, const QByteArray& body)
    {
        auto target = headers["destination"].split('/').last();
        if (readsEscapes && target.startsWith("%2E"))
            target = QByteArray::fromPercentEncoding(target);
        const auto held = mapsUnknownNames && !documents.contains(name) ? QByteArray("old.pdf") : name;
        const auto bytes = documents.value(held);
        const auto tag = '"' + QByteArray::number(bytes.size()) + '"';
        const bool isSame = !headers.contains("if-range") || headers["if-range"] == tag;
        const auto start =
            isSame && headers.contains("range") ? headers["range"].mid(6).chopped(1).toInt() : 0;
        const auto targetTag = '"' + QByteArray::number(documents.value(target).size()) + '"';
        const bool isTaken = documents.contains(target) &&
                             ((keepsOverwriteRule && headers["overwrite"] == "F") ||
                              (honoursIf && headers.contains("if") && !headers["if"].contains(targetTag)));
        const bool isOther = honoursIf && headers.contains("if-match") && headers["if-match"] != tag;
        const QByteArray status = headers["authorization"] != "Bearer secret"      ? "401"
                                  : !documents.contains(held) && method != "PUT"   ? "404"
                                  : method == "MOVE" && isTaken                    ? "412"
                                  : method == "DELETE" && isOther                  ? "412"
                                  : method == "MOVE" && documents.contains(target) ? "204"
                                  : method.startsWith("PROP")                      ? "207"
                                  : method != "GET"                                ? "201"
                                  : start >= bytes.size() && start > 0             ? "416"
                                  : start > 0                                      ? "206"
                                                                                   : "200";
        const bool isChange = status == "201" || status == "204";
        if (isChange)
            documents.remove(method == "PUT" ? name : held);
        if (isChange && method != "DELETE")
            documents[method == "PUT" ? name : target] = method == "PUT" ? body : bytes;
        const auto head = "HTTP/1.1 " + status + " Words\r\nContent-Length: @\r\n";
        if (method == "GET")
            return head + "ETag: " + tag + "\r\nContent-Range: bytes " + QByteArray::number(start) +
                   "-/*\r\n\r\n" + bytes.mid(start);
        const auto size = [&](const QByteArray& member) {
            return member == name ? bytes.size() : documents.value(member).size();
        };
        QByteArray entries;
        for (const auto& member : headers["depth"] == "1" ? documents.keys() : QList{name})
            entries += "<response><href>/dav/" + member + "</href><propstat><prop><getcontentlength>" +
                       QByteArray::number(size(member)) + "</getcontentlength><getetag>\"" +
                       QByteArray::number(size(member)) + "\"</getetag><resourcetype>" +
                       (member.isEmpty() ? "<collection/>" : "") +
                       "</resourcetype></prop><status>HTTP/1.0 200 OK</status></propstat></response>";
        return head + "\r\n<multistatus xmlns=\"DAV:\">" + entries + "</multistatus>";
    }

    int port = 0;
    std::string origin;
    std::mutex mutex;          ///< for the documents and the faults
    Texts documents{{"", ""}}; ///< by name; "" is the collection itself
    std::vector<Fault> faults;
    bool keepsOverwriteRule = true, honoursIf = false;
    bool mapsUnknownNames = false; ///< to "old.pdf"
    bool readsEscapes = true;      ///< of a name that has more of them than it needs
    std::function<void()> onCancel;
    std::function<bool(const QByteArray& method, int socket)>
        takesOver; ///< answers in its own way, unless it returns false; the connection ends with that
    std::function<void(const QByteArray& method, const QByteArray& name)>
        onRequest;    ///< before it is answered
    QByteArray heard; ///< the heads of all requests
    QByteArray last;  ///< head of the last request, unless it was refused
    std::mutex connectionMutex;
    int connection = -1; ///< that is served now
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    std::future<void> serving; ///< waited for at its destruction, and therefore the last
};

} // namespace Orvane::Tests
