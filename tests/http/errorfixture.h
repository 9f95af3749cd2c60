#ifndef QUORVA_TESTS_HTTP_ERRORFIXTURE_H
#define QUORVA_TESTS_HTTP_ERRORFIXTURE_H

#include "http/httpfixture.h"

#include <string>

class HttpError : public HttpTest {
protected:
    static std::string post(const std::string& headers, const std::string& body = "")
    {
        return "POST / HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n" + body;
    }

    /** Sends the bytes on a new connection and expects this error with all its headers. */
    HttpAnswer expectRefused(const std::string& bytes, int status, const std::string& type, const std::string& message)
    {
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange(bytes);
        expectError(answer, status, type, message);
        return answer;
    }
};

#endif
