#pragma once

#include "Payload.h"

#include <curl/curl.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Waits up to so many milliseconds for the transfer's cancelling (0: only looks) and tells whether
/// it is cancelled.
using WaitForCancel = std::function<bool(int)>;

struct HttpRequest
{
    std::string method;
    std::string url; ///< percent-encoded as it is to be sent and signed
    std::vector<std::string> headers; ///< all of them are signed
    Payload* payload = nullptr; ///< null: no body
    long totalTimeoutMs = 0; ///< 0: bounded by the client's time-outs only
};

struct HttpResponse
{
    CURLcode curlCode = CURLE_OK;
    long status = 0;
    std::string etag;
    std::string body; ///< the first 64 KiB
};

/// What all requests of one client have in common.
struct HttpSettings
{
    std::string accessKeyId; ///< empty: requests go unsigned
    std::string secretKey;
    std::string signing; ///< CURLOPT_AWS_SIGV4's provider, region and service
    std::string caFile;
    bool verifySsl = true;
    long connectTimeoutMs = 0;
    long stallTimeoutS = 0; ///< no byte either way for so long ends the request
};

/// Sends signed requests over connections that are kept for the next one. Any thread; each request
/// in flight has a connection of its own.
class HttpExchange
{
public:
    explicit HttpExchange(HttpSettings settings);

    HttpResponse send(const HttpRequest& request, const WaitForCancel& waitForCancel);

private:
    using Curl = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

    Curl takeHandle();
    void applySettings(CURL* curl) const;

    const HttpSettings m_settings;
    std::mutex m_mutex;
    std::vector<Curl> m_idle;
};
