#ifndef QUORVA_TESTS_REQUEST_UPDATEITEMFIXTURE_H
#define QUORVA_TESTS_REQUEST_UPDATEITEMFIXTURE_H

#include "itemoperation.h"

class UpdateItem : public ItemOperation {
protected:
    static QVariantMap action(const char* name, const QVariant& value) { return {{"Action", name}, {"Value", value}}; }
    static QVariantMap putValue(const QVariant& value) { return action("PUT", value); }
    static QVariantMap addValue(const QVariant& value) { return action("ADD", value); }
    static inline const QVariantMap Delete{{"Action", "DELETE"}};

    static QVariantMap returning(const QVariant& values) { return {{"ReturnValues", values}}; }

    const QVariantMap old_{
        {"a", textValue("x")}, {"c", textValue("gone")}, {"n", numberValue("1")}, {"o", textValue("o")}};
    const QVariantMap updates_{
        {"a", putValue(textValue("y"))},   {"b", putValue(numberValue("7"))}, {"c", Delete}, {"d", Delete},
        {"m", addValue(numberValue("3"))}, {"n", addValue(numberValue("41"))}};
    const QVariantMap new_{{"a", textValue("y")},
                           {"b", numberValue("7")},
                           {"m", numberValue("3")},
                           {"n", numberValue("42")},
                           {"o", textValue("o")}};
};

#endif
