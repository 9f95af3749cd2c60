#ifndef QUORVA_TESTS_HTTP_REQUESTFIXTURE_H
#define QUORVA_TESTS_HTTP_REQUESTFIXTURE_H

#include "http/httpfixture.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

class HttpRequest : public HttpTest {
protected:
    /** Repeats a read, sending each last key back unchanged, and collects the range keys, each followed by a comma. */
    std::string readPages(const std::string& operation, const std::string& rest)
    {
        HttpClient client(http_.port());
        std::string ranges;
        std::string start;
        for (int page = 0; page < 20; ++page) {
            const HttpAnswer answer = client.call(operation, body(rest + start));
            EXPECT_EQ(answer.status, 200) << answer.body;
            QVariant parsed;
            EXPECT_TRUE(Json::parse(QByteArray::fromStdString(answer.body), &parsed)) << answer.body;
            for (const QVariant& item : parsed.toMap()["Items"].toList())
                ranges += item.toMap()["range"].toMap()["S"].toString().toStdString() + ',';
            if (!parsed.toMap().contains("LastEvaluatedKey"))
                return ranges;
            start = ",\"ExclusiveStartKey\":" + Json::serialize(parsed.toMap()["LastEvaluatedKey"]).toStdString();
        }
        ADD_FAILURE() << "the read does not end: " << ranges;
        return ranges;
    }
};

#endif
