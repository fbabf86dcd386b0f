#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

// Windows' headers define it as a macro.
#ifdef GetMessage
#undef GetMessage
#endif

namespace Aws::Client {

template <typename ErrorType> class AWSError
{
public:
    AWSError() = default;
    AWSError(ErrorType errorType, const Aws::String& exceptionName, const Aws::String& message,
        bool isRetryable)
        : m_errorType(errorType)
        , m_exceptionName(exceptionName)
        , m_message(message)
        , m_isRetryable(isRetryable)
    {
    }

    ErrorType GetErrorType() const { return m_errorType; }
    const Aws::String& GetExceptionName() const { return m_exceptionName; }
    const Aws::String& GetMessage() const { return m_message; }
    bool ShouldRetry() const { return m_isRetryable; }

private:
    ErrorType m_errorType{};
    Aws::String m_exceptionName;
    Aws::String m_message;
    bool m_isRetryable = false;
};

} // namespace Aws::Client
