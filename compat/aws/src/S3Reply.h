#pragma once

#include "HttpExchange.h"

#include <aws/core/client/AWSError.h>
#include <aws/s3/S3Errors.h>

#include <string>

using S3Error = Aws::Client::AWSError<Aws::S3::S3Errors>;

/// The text of the first element @p name in @p xml, with the five predefined entities resolved;
/// empty when there is none. Enough for the flat replies of an object store, whoever wrote them.
std::string xmlElementText(const std::string& xml, const std::string& name);

/// True when @p response says that the request was carried out.
bool isSuccess(const HttpResponse& response);

/// What @p response, which is no success, is called; also whether asking again may help.
S3Error errorFromResponse(const HttpResponse& response);
