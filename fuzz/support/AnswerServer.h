#pragma once

#include <QByteArray>

#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace Orvane::Fuzzing {

/// Gives the same answer to every request, on a free port of 127.0.0.1, one connection after the other.
class AnswerServer
{
public:
    AnswerServer()
    {
        sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), size);
        ::listen(m_listener, 8);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = address.sin_port;
        m_thread = std::thread([this] {
            for (int client = 0; (client = ::accept(m_listener, nullptr, nullptr)) >= 0; ::close(client))
                Serve(client);
        });
    }

    ~AnswerServer()
    {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    void SetAnswer(const QByteArray& answer)
    {
        const std::lock_guard lock(m_mutex);
        m_answer = answer;
    }

    /// In the order of the network.
    [[nodiscard]] in_port_t Port() const { return m_port; }

private:
    void Serve(int client)
    {
        QByteArray head;
        for (char piece[1024]; !head.contains("\r\n\r\n");) {
            const auto length = ::recv(client, piece, sizeof piece, 0);
            if (length <= 0)
                return;
            head.append(piece, static_cast<int>(length));
        }
        const std::lock_guard lock(m_mutex);
        (void)::send(client, m_answer.constData(), static_cast<std::size_t>(m_answer.size()), MSG_NOSIGNAL);
    }

    const int m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
    in_port_t m_port = 0;
    std::mutex m_mutex;
    QByteArray m_answer;
    std::thread m_thread;
};

} // namespace Orvane::Fuzzing
