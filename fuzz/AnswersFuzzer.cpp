#include "support/AnswerServer.h"
#include "support/Properties.h"

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavServer.h>

#include <cstring>
#include <dlfcn.h>
#include <netdb.h>

namespace {

using namespace Orvane;
using namespace Orvane::Social;
using Fuzzing::Require;

/// Stands for scheme, host and port of the server, which an input cannot know.
constexpr const char* kOrigin = "{origin}";

constexpr const char* kSoundAnswer = "HTTP/1.1 200 OK\r\nETag: \"a\"\r\nContent-Length: 1\r\n\r\nx";

Fuzzing::AnswerServer& Server()
{
    static Fuzzing::AnswerServer server;
    return server;
}

std::string Origin()
{
    return "http://127.0.0.1:" + std::to_string(ntohs(Server().Port()));
}

WebDavServer& Client()
{
    static const auto address = WebDavAddress::Parse(Origin() + "/dav/").value();
    static WebDavServer client({}, address, [] {
        NetworkLimits limits;
        limits.retries = 0;
        return limits;
    }());
    return client;
}

void RequireSound(const HttpResponse& answer)
{
    for (const auto& text : {answer.reason, answer.location, answer.contentRange})
        Require(!text.contains('\n') && !text.contains('\0'), "a header's value is one line");
    const QByteArray tag = answer.entityTag.startsWith("W/") ? answer.entityTag.mid(2) : answer.entityTag;
    Require(tag.isEmpty() || Fuzzing::IsOpaqueTag(tag), "an entity tag is one");
    Require(answer.status >= 100 && answer.status <= 999, "a status has three digits");
    Require(answer.contentLength.value_or(0) >= 0, "a length is not negative");
    Require(answer.retryAfter.value_or(std::chrono::seconds(0)).count() >= 0, "a pause is not negative");
}

template <typename Request>
void Ask(const Request& request)
{
    try {
        request();
    } catch (const CloudError&) { // most answers are no answers
    }
}

} // namespace

/// The client looks up no name: it knows the address of its server, and goes to no other one.
extern "C" [[gnu::visibility("default")]] int getaddrinfo(const char*, const char*, const addrinfo*,
                                                          addrinfo**)
{
    Require(false, "no other host is looked up");
    return EAI_FAIL;
}

extern "C" [[gnu::visibility("default")]] int connect(int socket, const sockaddr* address, socklen_t size)
{
    sockaddr_in target{};
    std::memcpy(&target, address, std::min<std::size_t>(sizeof target, size));
    Require(target.sin_family == AF_INET && target.sin_port == Server().Port() &&
                target.sin_addr.s_addr == htonl(INADDR_LOOPBACK),
            "the client stays with its server");
    static const auto next = reinterpret_cast<decltype(&connect)>(::dlsym(RTLD_NEXT, "connect"));
    return next(socket, address, size);
}

/// Takes the input for all that the server sends, in answer to a sign-in and to a download, and again
/// wherever a redirect leads.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    Job job;
    Server().SetAnswer(kSoundAnswer); // what it leaves behind must not meet the next answer
    (void)Client().Get("/dav/", {}, {}, job);
    auto answer = QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size));
    Server().SetAnswer(answer.replace(kOrigin, QByteArray::fromStdString(Origin())));
    Ask([&] { Client().SignIn(QStringLiteral("secret"), job); });
    Ask([&] {
        std::size_t received = 0;
        const auto take = [&](const HttpResponse& head, const char*, std::size_t length) {
            Require(head.IsSuccess(), "only a success has a body");
            RequireSound(head);
            received += length;
        };
        RequireSound(Client().Get("/dav/a.pdf", {}, take, job));
        Require(received <= static_cast<std::size_t>(answer.size()), "no more is received than was sent");
    });
    return 0;
}
