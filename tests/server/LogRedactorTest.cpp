#include "server/LogRedactor.h"

#include <gtest/gtest.h>
#include <random>

using namespace Qt::StringLiterals;

namespace {

using LogRedactor::redact;
using LogRedactor::stringifyJSONorText;

TEST(LogRedactorTest, RedactsByRuleWhateverComesAndCutsItShort) {
    const QByteArray family = "👩‍👩‍👧"; // one character of eight code units
    const std::pair<std::optional<QByteArray>, QByteArray> cases[] = {
        {R"("Password" : "x")", R"("Password":"<redacted>")"},
        {R"("secret":"a\"b\\","x":"y")", R"("secret":"<redacted>","x":"y")"},
        {R"("token_type":"Bearer","my_password":"x")", R"("token_type":"Bearer","my_password":"x")"},
        {R"("access_token":"cut off\)", R"("access_token":"<redacted>")"},
        {"Authorization: Bearer ab.c-d_e~f+g/h==;", "Authorization: Bearer <redacted>;"},
        {std::nullopt, "nil"},
        {R"({"pass\u0077ord":"x"})", "{\n    \"password\":\"<redacted>\"\n}"},
        {"cut in a character \xc3", "Non-UTF8 binary payload (20 bytes)"},
        {QByteArray(2000, 'x'), QByteArray(2000, 'x')},
        {family.repeated(2001), family.repeated(2000) + "…(2001 chars total)"},
        {R"("token":")" + QByteArray(5000, 's') + '"', R"("token":"<redacted>")"}, // redacted first
    };
    for (const auto& [data, text] : cases)
        EXPECT_EQ(stringifyJSONorText(data, 2000), text);
    for (const char* key :
         {"access_token", "refresh_token", "token", "authorization", "otp", "api_key", "client_secret"})
        EXPECT_EQ(redact(QString(R"("%1":"a")").arg(key)), QString(R"("%1":"<redacted>")").arg(key));
}

TEST(LogRedactorTest, OfALargePayloadOnlyTheBeginningIsRead) {
    const QByteArray secret = QByteArray("S3cretS3cret").repeated(1'000'000);
    const QByteArray shapes[] = {
        R"({"token":")" + secret + "\"}", // longer than what is looked at
        R"({"fill":")" + QByteArray(64 * 1024 - 30, 'x') + R"(","token":")" + secret + "\"}",
        "Bearer " + secret,
        QByteArray("\"token\":").repeated(1'000'000),
        QByteArray("\xcc\x81").repeated(1'000'000),
    };
    for (const QByteArray& shape : shapes) {
        const QString text = stringifyJSONorText(shape, 6000);
        EXPECT_FALSE(text.contains("S3cretS3")) << shape.first(20).constData();
        EXPECT_TRUE(text.endsWith(QString::fromUtf8("…(%1 bytes total)").arg(shape.size())));
    }
}

TEST(LogRedactorTest, NoFragmentOfASecretSurvives) {
    const auto holdsFragment = [](const QString& text, const QString& secret) {
        for (int at = 0; at + 8 <= secret.size(); ++at)
            if (text.contains(QStringView(secret).mid(at, 8)))
                return true;
        return false;
    };
    for (unsigned seed = 0; seed < 1000; ++seed) {
        std::mt19937 chance(seed);
        const QString field = QString(R"(S3cr\"t\\%1-%2)").arg(chance()).arg(chance());
        const QString bearer = u"S3cr~%1.%2=="_s.arg(chance()).arg(chance());
        const QString begin = R"({"data":{"note":"n","Refresh_Token" : ")" + field;
        const QString whole = begin + R"(","header":"Bearer )" + bearer + R"(","more":"m"}})";
        for (const QString& text : {whole, begin.chopped(int(chance() % unsigned(field.size())))}) {
            const QString logged = stringifyJSONorText(text.toUtf8(), 2000);
            ASSERT_FALSE(holdsFragment(logged, field) || holdsFragment(logged, bearer)) << qPrintable(text);
            ASSERT_EQ(redact(logged), logged);
        }
    }
}

} // namespace
