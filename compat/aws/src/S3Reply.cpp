#include "S3Reply.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

using Aws::S3::S3Errors;

namespace {

struct KnownError
{
    std::string_view name;
    S3Errors type;
    bool retryable;
};

constexpr std::array<KnownError, 45> KnownErrors{ {
    { "AccessDenied", S3Errors::ACCESS_DENIED, false },
    { "AccessDeniedException", S3Errors::ACCESS_DENIED, false },
    { "IncompleteSignature", S3Errors::INCOMPLETE_SIGNATURE, false },
    { "IncompleteSignatureException", S3Errors::INCOMPLETE_SIGNATURE, false },
    { "InternalError", S3Errors::INTERNAL_FAILURE, true },
    { "InternalFailure", S3Errors::INTERNAL_FAILURE, true },
    { "InternalFailureException", S3Errors::INTERNAL_FAILURE, true },
    { "InternalServerError", S3Errors::INTERNAL_FAILURE, true },
    { "InvalidAccessKeyId", S3Errors::INVALID_ACCESS_KEY_ID, false },
    { "InvalidAction", S3Errors::INVALID_ACTION, false },
    { "InvalidActionException", S3Errors::INVALID_ACTION, false },
    { "InvalidClientTokenId", S3Errors::INVALID_CLIENT_TOKEN_ID, false },
    { "InvalidClientTokenIdException", S3Errors::INVALID_CLIENT_TOKEN_ID, false },
    { "InvalidParameterCombination", S3Errors::INVALID_PARAMETER_COMBINATION, false },
    { "InvalidParameterValue", S3Errors::INVALID_PARAMETER_VALUE, false },
    { "InvalidQueryParameter", S3Errors::INVALID_QUERY_PARAMETER, false },
    { "InvalidSignature", S3Errors::INVALID_SIGNATURE, false },
    { "InvalidSignatureException", S3Errors::INVALID_SIGNATURE, false },
    { "MalformedQueryString", S3Errors::MALFORMED_QUERY_STRING, false },
    { "MissingAction", S3Errors::MISSING_ACTION, false },
    { "MissingAuthenticationToken", S3Errors::MISSING_AUTHENTICATION_TOKEN, false },
    { "MissingParameter", S3Errors::MISSING_PARAMETER, false },
    { "NoSuchBucket", S3Errors::NO_SUCH_BUCKET, false },
    { "NoSuchKey", S3Errors::NO_SUCH_KEY, false },
    { "NoSuchUpload", S3Errors::NO_SUCH_UPLOAD, false },
    { "OptInRequired", S3Errors::OPT_IN_REQUIRED, false },
    { "RequestExpired", S3Errors::REQUEST_EXPIRED, true },
    { "RequestExpiredException", S3Errors::REQUEST_EXPIRED, true },
    { "RequestTimeTooSkewed", S3Errors::REQUEST_TIME_TOO_SKEWED, true },
    { "RequestTimeout", S3Errors::REQUEST_TIMEOUT, true },
    { "RequestTimeoutException", S3Errors::REQUEST_TIMEOUT, true },
    { "RequestThrottled", S3Errors::THROTTLING, true },
    { "ResourceNotFound", S3Errors::RESOURCE_NOT_FOUND, false },
    { "ResourceNotFoundException", S3Errors::RESOURCE_NOT_FOUND, false },
    { "ServiceUnavailable", S3Errors::SERVICE_UNAVAILABLE, true },
    { "ServiceUnavailableException", S3Errors::SERVICE_UNAVAILABLE, true },
    { "SignatureDoesNotMatch", S3Errors::SIGNATURE_DOES_NOT_MATCH, false },
    { "SlowDown", S3Errors::SLOW_DOWN, true },
    { "SlowDownException", S3Errors::SLOW_DOWN, true },
    { "ThrottledException", S3Errors::THROTTLING, true },
    { "Throttling", S3Errors::THROTTLING, true },
    { "ThrottlingException", S3Errors::THROTTLING, true },
    { "UnrecognizedClientException", S3Errors::UNRECOGNIZED_CLIENT, false },
    { "ValidationError", S3Errors::VALIDATION, false },
    { "ValidationException", S3Errors::VALIDATION, false },
} };

/// A cancelled transfer stays cancelled, a certificate that is wrong or cannot be checked stays so.
bool isRetryableFault(CURLcode code)
{
    constexpr std::array<CURLcode, 5> lasting{ CURLE_ABORTED_BY_CALLBACK,
        CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_CACERT_BADFILE, CURLE_SSL_ISSUER_ERROR,
        CURLE_UNSUPPORTED_PROTOCOL };
    return std::find(lasting.begin(), lasting.end(), code) == lasting.end();
}

bool isRetryableStatus(long status)
{
    return status == 408 || status == 429 || (status >= 500 && status != 501 && status != 505);
}

std::string resolveEntities(std::string_view text)
{
    constexpr std::array<std::pair<std::string_view, char>, 5> entities{ { { "&amp;", '&' },
        { "&lt;", '<' }, { "&gt;", '>' }, { "&quot;", '"' }, { "&apos;", '\'' } } };
    std::string result;
    while (!text.empty()) {
        std::size_t length = 1;
        char character = text.front();
        for (const auto& [entity, meaning] : entities) {
            if (text.substr(0, entity.size()) == entity) {
                length = entity.size();
                character = meaning;
                break;
            }
        }
        result += character;
        text.remove_prefix(length);
    }
    return result;
}

} // namespace

std::string xmlElementText(const std::string& xml, const std::string& name)
{
    const std::string opening = "<" + name;
    std::size_t start = xml.find(opening);
    // "<Code" must not be found in "<CodeExtra>".
    while (start != std::string::npos && start + opening.size() < xml.size()
        && std::string_view(" \t\r\n>").find(xml[start + opening.size()]) == std::string_view::npos)
        start = xml.find(opening, start + 1);
    const std::size_t text = xml.find('>', start == std::string::npos ? xml.size() : start);
    const std::size_t end = xml.find("</" + name, text == std::string::npos ? xml.size() : text);
    if (end == std::string::npos)
        return {};
    return resolveEntities(std::string_view(xml).substr(text + 1, end - text - 1));
}

bool isSuccess(const HttpResponse& response)
{
    // Completing a multipart upload can fail after the status line has gone out as 200.
    return response.curlCode == CURLE_OK && response.status >= 200 && response.status < 300
        && response.body.find("<Error>") == std::string::npos;
}

S3Error errorFromResponse(const HttpResponse& response)
{
    if (response.curlCode != CURLE_OK) {
        return { S3Errors::NETWORK_CONNECTION, {},
            "curlCode: " + std::to_string(response.curlCode) + ", "
                + curl_easy_strerror(response.curlCode),
            isRetryableFault(response.curlCode) };
    }
    const bool retryable = isRetryableStatus(response.status);
    if (response.body.empty())
        return { S3Errors::UNKNOWN, {}, "No response body.", retryable };
    const std::string name = xmlElementText(response.body, "Code");
    const std::string message = xmlElementText(response.body, "Message");
    if (name.empty()) {
        return { S3Errors::UNKNOWN, {},
            "The reply with HTTP status " + std::to_string(response.status)
                + " is no error description.",
            retryable };
    }
    for (const KnownError& known : KnownErrors) {
        if (known.name == name)
            return { known.type, name, message, known.retryable || retryable };
    }
    return { S3Errors::UNKNOWN, name,
        "Unable to parse ExceptionName: " + name + " Message: " + message, retryable };
}
