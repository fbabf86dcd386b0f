#include "HttpExchange.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace {

/// Replies are a few hundred bytes of XML; more than this is no object store talking.
constexpr std::size_t MaximumBodySize = 64 * 1024;

struct Exchange
{
    const HttpRequest& request;
    const WaitForCancel& waitForCancel;
    HttpResponse response;
    bool bodyCut = false;
};

std::size_t readPayload(char* buffer, std::size_t size, std::size_t count, void* data)
{
    return static_cast<Exchange*>(data)->request.payload->read(buffer, size * count);
}

int seekPayload(void* data, curl_off_t offset, int origin)
{
    Payload* payload = static_cast<Exchange*>(data)->request.payload;
    return origin == SEEK_SET && payload->seek(static_cast<std::uint64_t>(offset))
        ? CURL_SEEKFUNC_OK
        : CURL_SEEKFUNC_FAIL;
}

std::size_t writeBody(char* bytes, std::size_t size, std::size_t count, void* data)
{
    auto* exchange = static_cast<Exchange*>(data);
    std::string& body = exchange->response.body;
    const std::size_t taken = std::min(size * count, MaximumBodySize - body.size());
    body.append(bytes, taken);
    exchange->bodyCut = taken < size * count;
    return taken;
}

std::size_t readHeader(char* bytes, std::size_t size, std::size_t count, void* data)
{
    const std::string line(bytes, size * count);
    std::string name = line.substr(0, line.find(':'));
    std::transform(name.begin(), name.end(), name.begin(),
        [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::size_t first = line.find_first_not_of(" \t", name.size() + 1);
    if (name == "etag" && first != std::string::npos) {
        static_cast<Exchange*>(data)->response.etag
            = line.substr(first, line.find_last_not_of(" \t\r\n") + 1 - first);
    }
    return size * count;
}

int checkCancelled(void* data, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return static_cast<Exchange*>(data)->waitForCancel(0) ? 1 : 0;
}

} // namespace

HttpExchange::HttpExchange(HttpSettings settings)
    : m_settings(std::move(settings))
{
}

HttpResponse HttpExchange::send(const HttpRequest& request, const WaitForCancel& waitForCancel)
{
    Curl handle = takeHandle();
    CURL* curl = handle.get();
    Exchange exchange{ request, waitForCancel, {} };
    if (!curl || (request.payload && !request.payload->seek(0))) {
        exchange.response.curlCode = curl ? CURLE_READ_ERROR : CURLE_FAILED_INIT;
        return exchange.response;
    }

    curl_slist* headers = nullptr;
    for (const std::string& header : request.headers)
        headers = curl_slist_append(headers, header.c_str());

    applySettings(curl);
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, request.totalTimeoutMs);
    if (request.payload) {
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, curl_off_t(request.payload->size()));
        curl_easy_setopt(curl, CURLOPT_READFUNCTION, readPayload);
        curl_easy_setopt(curl, CURLOPT_READDATA, &exchange);
        curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, seekPayload);
        curl_easy_setopt(curl, CURLOPT_SEEKDATA, &exchange);
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, writeBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, readHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &exchange);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, checkCancelled);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &exchange);

    HttpResponse& response = exchange.response;
    response.curlCode = curl_easy_perform(curl);
    if (response.curlCode == CURLE_WRITE_ERROR && exchange.bodyCut)
        response.curlCode = CURLE_OK; // the status and the part of the body that counts are there
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);

    curl_easy_reset(curl); // forgets the options and the secrets, keeps the connection
    curl_slist_free_all(headers);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_idle.push_back(std::move(handle));
    return response;
}

HttpExchange::Curl HttpExchange::takeHandle()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_idle.empty())
        return Curl(curl_easy_init(), curl_easy_cleanup);
    Curl handle = std::move(m_idle.back());
    m_idle.pop_back();
    return handle;
}

void HttpExchange::applySettings(CURL* curl) const
{
    if (!m_settings.accessKeyId.empty()) {
        curl_easy_setopt(curl, CURLOPT_AWS_SIGV4, m_settings.signing.c_str());
        curl_easy_setopt(curl, CURLOPT_USERNAME, m_settings.accessKeyId.c_str());
        curl_easy_setopt(curl, CURLOPT_PASSWORD, m_settings.secretKey.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L); // signals and threads do not mix
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_PROXY, ""); // the environment's proxies are not for this
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L); // ".." is an ordinary part of a key
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, m_settings.connectTimeoutMs);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L); // bytes per second
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, m_settings.stallTimeoutS);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, m_settings.verifySsl ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, m_settings.verifySsl ? 2L : 0L);
    // Windows (schannel) asks whether a certificate was withdrawn. Where nobody answers, as for an
    // authority of one's own or behind a strict firewall, that is not a reason to refuse the store.
    curl_easy_setopt(curl, CURLOPT_SSL_OPTIONS, long(CURLSSLOPT_REVOKE_BEST_EFFORT));
    if (!m_settings.caFile.empty())
        curl_easy_setopt(curl, CURLOPT_CAINFO, m_settings.caFile.c_str());
}
