#include "S3Connection.h"

#include <algorithm>
#include <cctype>
#include <sstream>

using Aws::Client::AWSAuthV4Signer;
using Aws::Client::ClientConfiguration;
using Aws::S3::S3Errors;

namespace {

constexpr int MaximumRetries = 10;
/// Doubled from retry to retry: short against a hiccup, 26 s in all against a server's restart.
constexpr int FirstRetryDelayMs = 25;
constexpr long AbortTimeoutMs = 2000;

bool isAsciiAlphanumeric(unsigned char c)
{
    return c < 0x80 && std::isalnum(c);
}

/// Everything but unreserved characters as %XX; @p kept holds further ones to keep.
std::string percentEncoded(const std::string& text, const std::string& kept)
{
    constexpr const char* digits = "0123456789ABCDEF";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (isAsciiAlphanumeric(byte) || kept.find(character) != std::string::npos)
            result += character;
        else
            result += { '%', digits[byte >> 4], digits[byte & 0xf] };
    }
    return result;
}

/// Only such a bucket can be the first label of a host name.
bool isDnsLabel(const std::string& bucket)
{
    return !bucket.empty() && bucket.size() <= 63 && bucket.front() != '-' && bucket.back() != '-'
        && std::all_of(bucket.begin(), bucket.end(),
            [](unsigned char c) { return isAsciiAlphanumeric(c) || c == '-'; });
}

bool isIpAddress(const std::string& authority)
{
    const std::string host = authority.substr(0, authority.find(':'));
    return authority.front() == '[' || host.find_first_not_of("0123456789.") == std::string::npos;
}

/// A header line; what could end the line early is dropped, the values come from other machines.
std::string header(const std::string& name, std::string value)
{
    value.erase(std::remove_if(value.begin(), value.end(),
                    [](unsigned char c) { return c < 0x20 || c == 0x7f; }),
        value.end());
    return name + ": " + value;
}

bool hashesPayloads(bool isHttps, AWSAuthV4Signer::PayloadSigningPolicy policy)
{
    return !isHttps || policy == AWSAuthV4Signer::PayloadSigningPolicy::Always;
}

bool namesHttps(const ClientConfiguration& configuration)
{
    if (configuration.endpointOverride.rfind("https://", 0) == 0)
        return true;
    if (configuration.endpointOverride.rfind("http://", 0) == 0)
        return false;
    return configuration.scheme == Aws::Http::Scheme::HTTPS;
}

HttpSettings httpSettings(
    const Aws::Auth::AWSCredentials& credentials, const ClientConfiguration& configuration)
{
    HttpSettings settings;
    settings.accessKeyId = credentials.GetAWSAccessKeyId();
    settings.secretKey = credentials.GetAWSSecretKey();
    settings.signing = "aws:amz:" + configuration.region + ":s3";
    settings.caFile = configuration.caFile;
    settings.verifySsl = configuration.verifySSL;
    settings.connectTimeoutMs = configuration.connectTimeoutMs;
    settings.stallTimeoutS = std::max(1L, configuration.requestTimeoutMs / 1000);
    return settings;
}

} // namespace

Aws::S3::S3Client::Connection::Connection(const Aws::Auth::AWSCredentials& credentials,
    const ClientConfiguration& configuration, AWSAuthV4Signer::PayloadSigningPolicy signPayloads,
    bool useVirtualAddressing)
    : m_isHttps(namesHttps(configuration))
    , m_sessionToken(credentials.GetSessionToken())
    , m_hashPayloads(hashesPayloads(m_isHttps, signPayloads))
    , m_useVirtualAddressing(useVirtualAddressing)
    , m_http(httpSettings(credentials, configuration))
{
    std::string endpoint = configuration.endpointOverride;
    if (const std::size_t scheme = endpoint.find("://"); scheme != std::string::npos)
        endpoint.erase(0, scheme + 3);
    if (endpoint.empty()) {
        endpoint = configuration.region == "us-east-1"
            ? "s3.amazonaws.com"
            : "s3." + configuration.region + ".amazonaws.com";
    }
    const std::size_t path = endpoint.find('/');
    m_authority = endpoint.substr(0, path);
    m_basePath = path == std::string::npos ? std::string() : endpoint.substr(path);
    while (!m_basePath.empty() && m_basePath.back() == '/')
        m_basePath.pop_back();
}

S3Failure Aws::S3::S3Client::Connection::putObject(
    const S3ObjectInfo& object, Payload& payload, const WaitForCancel& cancel)
{
    HttpRequest put = request("PUT", object, {}, &payload);
    put.headers.push_back(header("content-type", object.contentType));
    for (const auto& [name, value] : object.metadata)
        put.headers.push_back(header("x-amz-meta-" + name, value));
    return perform(object, put, cancel);
}

S3Failure Aws::S3::S3Client::Connection::createMultipartUpload(
    const S3ObjectInfo& object, std::string& uploadId, const WaitForCancel& cancel)
{
    std::istringstream nothing;
    Payload payload(nothing, 0, 0);
    HttpRequest post = request("POST", object, "uploads=", &payload);
    post.headers.push_back(header("content-type", object.contentType));
    for (const auto& [name, value] : object.metadata)
        post.headers.push_back(header("x-amz-meta-" + name, value));
    HttpResponse response;
    if (const S3Failure failure = perform(object, post, cancel, &response))
        return failure;
    uploadId = xmlElementText(response.body, "UploadId");
    if (uploadId.empty())
        return S3Error(S3Errors::UNKNOWN, {}, "The reply names no UploadId.", false);
    return {};
}

S3Failure Aws::S3::S3Client::Connection::uploadPart(const S3ObjectInfo& object,
    const std::string& uploadId, int partNumber, Payload& payload, std::string& etag,
    const WaitForCancel& cancel)
{
    const HttpRequest put = request("PUT", object,
        "partNumber=" + std::to_string(partNumber)
            + "&uploadId=" + percentEncoded(uploadId, "-._~"),
        &payload);
    HttpResponse response;
    const S3Failure failure = perform(object, put, cancel, &response);
    etag = response.etag;
    return failure;
}

S3Failure Aws::S3::S3Client::Connection::completeMultipartUpload(const S3ObjectInfo& object,
    const std::string& uploadId, const std::vector<std::string>& etags, const WaitForCancel& cancel)
{
    std::stringstream xml;
    xml << "<CompleteMultipartUpload xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">";
    for (std::size_t i = 0; i < etags.size(); ++i) {
        xml << "<Part><PartNumber>" << i + 1 << "</PartNumber><ETag>" << etags[i]
            << "</ETag></Part>";
    }
    xml << "</CompleteMultipartUpload>";
    Payload payload(xml, 0, xml.str().size());
    HttpRequest post
        = request("POST", object, "uploadId=" + percentEncoded(uploadId, "-._~"), &payload);
    post.headers.push_back(header("content-type", "application/xml"));
    return perform(object, post, cancel);
}

void Aws::S3::S3Client::Connection::abortMultipartUpload(
    const S3ObjectInfo& object, const std::string& uploadId)
{
    HttpRequest abort
        = request("DELETE", object, "uploadId=" + percentEncoded(uploadId, "-._~"), nullptr);
    abort.totalTimeoutMs = AbortTimeoutMs;
    m_http.send(abort, [](int) { return false; });
}

std::string Aws::S3::S3Client::Connection::url(
    const S3ObjectInfo& object, const std::string& query) const
{
    const bool virtualHost
        = m_useVirtualAddressing && isDnsLabel(object.bucket) && !isIpAddress(m_authority);
    std::string result = m_isHttps ? "https://" : "http://";
    if (virtualHost)
        result += object.bucket + ".";
    result += m_authority + m_basePath + "/";
    if (!virtualHost)
        result += percentEncoded(object.bucket, "-._~") + "/";
    result += percentEncoded(object.key, "-._~/");
    return query.empty() ? result : result + "?" + query;
}

HttpRequest Aws::S3::S3Client::Connection::request(const std::string& method,
    const S3ObjectInfo& object, const std::string& query, Payload* payload) const
{
    HttpRequest request;
    request.method = method;
    request.url = url(object, query);
    request.payload = payload;
    std::istringstream nothing;
    Payload empty(nothing, 0, 0);
    request.headers.push_back(header("x-amz-content-sha256",
        m_hashPayloads ? (payload ? payload : &empty)->sha256Hex() : "UNSIGNED-PAYLOAD"));
    if (!m_sessionToken.empty())
        request.headers.push_back(header("x-amz-security-token", m_sessionToken));
    return request;
}

S3Failure Aws::S3::S3Client::Connection::perform(const S3ObjectInfo& object,
    const HttpRequest& request, const WaitForCancel& cancel, HttpResponse* response)
{
    for (const auto& [value, field] :
        { std::pair(&object.bucket, "Bucket"), std::pair(&object.key, "Key") }) {
        if (value->empty()) {
            return S3Error(S3Errors::MISSING_PARAMETER, "MissingParameter",
                std::string("Missing required field [") + field + "]", false);
        }
    }
    for (int retry = 0;; ++retry) {
        HttpResponse reply = m_http.send(request, cancel);
        if (isSuccess(reply)) {
            if (response)
                *response = std::move(reply);
            return {};
        }
        const S3Error error = errorFromResponse(reply);
        if (!error.ShouldRetry() || retry == MaximumRetries || cancel(FirstRetryDelayMs << retry))
            return error;
    }
}
