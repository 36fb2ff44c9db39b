#include "Tests/Soak/SoakCamera.h"

#include <winsock2.h>

#include <windows.h>

#include <array>
#include <sstream>
#include <stdexcept>

namespace
{
constexpr DWORD kControlLimitMs = 10'000;
constexpr std::size_t kStatusAt = 9; // "HTTP/1.1 200"
constexpr std::size_t kStatusChars = 3;

/// One request to the control interface; the whole answer, head and body.
std::string Ask(const SoakCamera& camera, const std::string& method, const std::string& path, const std::string& body)
{
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    address.sin_port = ::htons(camera.controlPort);
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&kControlLimitMs),
                 sizeof(kControlLimitMs));
    const std::string request = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" +
                                "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    std::string answer;
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
        ::send(socket, request.data(), static_cast<int>(request.size()), 0) == static_cast<int>(request.size()))
    {
        std::array<char, 65536> piece;
        for (int countBytes = 0; (countBytes = ::recv(socket, piece.data(), static_cast<int>(piece.size()), 0)) > 0;)
            answer.append(piece.data(), static_cast<std::size_t>(countBytes));
    }
    ::closesocket(socket);
    if (answer.size() < kStatusAt + kStatusChars)
        throw std::runtime_error("the control interface at port " + std::to_string(camera.controlPort) +
                                 " does not answer");
    return answer;
}

void Order(const SoakCamera& camera, const std::string& method, const std::string& path, const std::string& body = {})
{
    const std::string answer = Ask(camera, method, path, body);
    if (answer[kStatusAt] != '2')
        throw std::runtime_error(method + " " + path + " " + body + ": " + answer.substr(kStatusAt, kStatusChars));
}

void OrderFault(const SoakCamera& camera, const std::string& fault)
{
    Order(camera, "POST", "/faults", "\"" + fault + "\"");
}

std::string Number(SoakRandom& random, int first, int last)
{
    return std::to_string(RandomNumber(random, first, last));
}

/// A fault of any HTTP request. Bodies stay below 12 KB: so many pieces of 4095 bytes the time limits know. Heads stay
/// below 8 KB: they may come with a drip, and under Wine a request that was given up lives until its head is complete.
std::string HttpFault(SoakRandom& random)
{
    switch (RandomNumber(random, 0, 20))
    {
    case 0:
        return "delay:" + Number(random, 50, 1500);
    case 1:
        return "body-delay:" + Number(random, 50, 1500);
    case 2:
        return "drip:" + Number(random, 1, 5);
    case 3:
        return "drop";
    case 4:
        return "drop-in-headers";
    case 5:
        return "drop-after-headers";
    case 6:
        return "truncate";
    case 7:
        return "chunked:" + Number(random, 1, 40);
    case 8:
        return "status:" + std::string(RandomElement(random, std::array{"400", "401", "403", "404", "500", "503"}));
    case 9:
        return "no-challenge";
    case 10:
        return "body:ModelName=&=&root.Brand.ProdNbr=%s%s%n";
    case 11:
        return "big-body:" + Number(random, 1, 12'000);
    case 12:
        return "garbage";
    case 13:
        return "reset";
    case 14:
        return "half-close";
    case 15:
        return "redirect";
    case 16:
        return "interim:" + std::string(RandomElement(random, std::array{"100", "101", "103"}));
    case 17:
        return "length:" + Number(random, 0, 5000);
    case 18:
        return "big-head:" + Number(random, 1, 8'000);
    case 19:
        return "trickle:" + Number(random, 1, 100);
    default:
        return "silent";
    }
}

std::string RtspFault(SoakRandom& random)
{
    switch (RandomNumber(random, 0, 15))
    {
    case 0:
        return "drop-get";
    case 1:
        return "drop-get:reset";
    case 2:
        return "drop-post";
    case 3:
        return "drop-post:reset";
    case 4:
        return "drop-post:answer";
    case 5:
        return "split:" + Number(random, 1, 400);
    case 6:
        return "glue";
    case 7:
        return "append";
    case 8:
        return "cseq";
    case 9:
        return "cseq:";
    case 10:
        return "header:Content-Length=" + Number(random, 0, 5000);
    case 11:
        return "header:Session=";
    case 12:
        return "expire";
    case 13:
        return "challenge";
    default:
        return HttpFault(random);
    }
}

std::string PathOf(const SoakCamera& camera, SoakRandom& random)
{
    if (camera.family == SoakFamily::Ipela)
        return RandomElement(random, std::array{"", "command/inquiry.cgi", "command/camera.cgi", "image1"});
    return RandomElement(random, std::array{"axis-cgi/", "axis-cgi/param.cgi", "tunnel:GET", "tunnel:POST"});
}
} // namespace

SoakCamera ParseCamera(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> parts;
    for (std::string part; std::getline(stream, part, ',');)
        parts.push_back(part);
    if (parts.size() < 4 || (parts[0] != "ipela" && parts[0] != "axis"))
        throw std::runtime_error("no camera: " + text);
    return {.family = parts[0] == "axis" ? SoakFamily::Axis : SoakFamily::Ipela,
            .name = std::wstring(parts[1].begin(), parts[1].end()),
            .port = static_cast<std::uint16_t>(std::stoul(parts[2])),
            .controlPort = static_cast<std::uint16_t>(std::stoul(parts[3])),
            .hasPassword = parts.size() > 4};
}

void Mischief::Make(const SoakCamera& camera, SoakRandom& random, const std::vector<std::string>& only)
{
    if (!only.empty())
        return OrderFault(camera, RandomElement(random, only));
    if (RandomChance(random, 15))
        return End(camera);
    const bool isRtsp = camera.family == SoakFamily::Axis && RandomChance(random, 60);
    if (isRtsp && RandomChance(random, 10))
        return Order(camera, "DELETE", "/rtsp-sessions");
    const std::string path =
        isRtsp
            ? "rtsp:" +
                  std::string(RandomElement(random, std::array{"", "OPTIONS", "DESCRIBE", "SETUP", "PLAY", "TEARDOWN"}))
            : PathOf(camera, random);
    const std::string fault = isRtsp ? RtspFault(random) : HttpFault(random);
    OrderFault(camera, fault + "@" + path + "*" + Number(random, 1, 3));
}

void Mischief::End(const SoakCamera& camera)
{
    Order(camera, "DELETE", "/faults");
}

std::uint32_t Mischief::TakeKeepAlives(const SoakCamera& camera)
{
    constexpr std::string_view kBeat = "\"method\": \"OPTIONS\"";
    const std::string journal = Ask(camera, "GET", "/journal", {});
    Order(camera, "DELETE", "/journal");
    std::uint32_t count = 0;
    for (std::size_t at = journal.find(kBeat); at != std::string::npos; at = journal.find(kBeat, at + kBeat.size()))
        ++count;
    return count;
}
