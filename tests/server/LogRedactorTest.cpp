#include "LogRedactor.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>
#include <random>

namespace {

using LogRedactor::redact;
using LogRedactor::stringifyJSONorText;

TEST(LogRedactorTest, RedactsByRule) {
    const struct {
        const char* text;
        const char* redacted;
    } cases[] = {
        {R"({"password":"x"})", R"({"password":"<redacted>"})"},
        {R"("Password" : "x")", R"("Password":"<redacted>")"},
        {R"("ACCESS_TOKEN":"a","refresh_token":"b")",
         R"("ACCESS_TOKEN":"<redacted>","refresh_token":"<redacted>")"},
        {R"("token":"","authorization":"a","otp":"1","secret":"s","api_key":"k","client_secret":"c")",
         R"("token":"<redacted>","authorization":"<redacted>","otp":"<redacted>","secret":"<redacted>",)"
         R"("api_key":"<redacted>","client_secret":"<redacted>")"},
        {R"("secret":"a\"b\\","x":"y")", R"("secret":"<redacted>","x":"y")"},
        {R"("otp": 123456)", R"("otp": 123456)"},
        {R"("token": ["abc"])", R"("token": ["abc"])"},
        {R"("token_type":"Bearer")", R"("token_type":"Bearer")"},
        {R"("my_password":"x")", R"("my_password":"x")"},
        {R"("access_token":"cut off here)", R"("access_token":"<redacted>")"},
        {R"("access_token":"cut off\)", R"("access_token":"<redacted>")"},
        {"Authorization: Bearer ab.c-d_e~f+g/h==;", "Authorization: Bearer <redacted>;"},
        {"Bearer \n abc", "Bearer <redacted>"},
        {"bearer abc", "bearer abc"},
        {"Bearer", "Bearer"},
    };
    for (const auto& [text, redacted] : cases)
        EXPECT_EQ(redact(text), QString(redacted)) << text;
}

TEST(LogRedactorTest, StringifiesWhateverComes) {
    const struct {
        std::optional<QByteArray> data;
        QString text;
    } cases[] = {
        {std::nullopt, "nil"},
        {"", ""},
        {"plain", "plain"},
        {"\"a fragment\"", "\"a fragment\""},
        {R"({"b":1,"a":{"token":"t"}})",
         "{\n    \"a\": {\n        \"token\":\"<redacted>\"\n    },\n    \"b\": 1\n}\n"},
        {R"({"pass\u0077ord":"x"})", "{\n    \"password\":\"<redacted>\"\n}\n"},
        {"<html>Bearer abc</html>", "<html>Bearer <redacted></html>"},
        {"\xff\xfe\x00", "Non-UTF8 binary payload (2 bytes)"},
        {"cut in a character \xc3", "Non-UTF8 binary payload (20 bytes)"},
    };
    for (const auto& [data, text] : cases)
        EXPECT_EQ(stringifyJSONorText(data, 2000), text) << data.value_or("nil").constData();
}

TEST(LogRedactorTest, CutsAtUserPerceivedCharacters) {
    const QString family = QString::fromUtf8("👩‍👩‍👧"); // one character of eight code units
    const QString accented = QString::fromUtf8("e\u0301");
    for (const QString& character : {QString("x"), family, accented}) {
        const QString whole = character.repeated(2000);
        EXPECT_EQ(stringifyJSONorText(whole.toUtf8(), 2000), whole);
        EXPECT_EQ(stringifyJSONorText((whole + 'x').toUtf8(), 2000),
                  whole + QString::fromUtf8("…(2001 chars total)"));
    }
    // Redaction comes first: what it shortens needs no cut.
    const QByteArray longSecret = R"("token":")" + QByteArray(5000, 's') + '"';
    EXPECT_EQ(stringifyJSONorText(longSecret, 2000), R"("token":"<redacted>")");
}

/// A random string of what the expressions look at.
QString soup(unsigned seed) {
    static const QStringList pieces = {R"(")",  R"(")",     R"(\)", ":",          "Bearer",
                                       "token", "password", "x=",   "Otp",        R"("token":")",
                                       "{\n",   "\t",       " ",    "<redacted>", "\u00e9"};
    std::mt19937 chance(seed);
    QString text;
    for (int piece = 0; piece < 40; ++piece)
        text += pieces.at(int(chance() % unsigned(pieces.size())));
    return text;
}

TEST(LogRedactorTest, RedactingTwiceIsRedactingOnce) {
    for (unsigned seed = 0; seed < 5000; ++seed) {
        const QString once = redact(soup(seed));
        ASSERT_EQ(redact(once), once) << qPrintable(soup(seed));
    }
}

bool holdsFragment(const QString& text, const QString& secret) {
    for (int at = 0; at + 8 <= secret.size(); ++at) {
        if (text.contains(QStringView(secret).mid(at, 8)))
            return true;
    }
    return false;
}

TEST(LogRedactorTest, NoFragmentOfASecretSurvives) {
    for (unsigned seed = 0; seed < 1000; ++seed) {
        std::mt19937 chance(seed);
        const QString field = QString(R"(S3cr\"t\\%1-%2)").arg(chance()).arg(chance());
        const QString bearer = QString("S3cr~%1.%2==").arg(chance()).arg(chance());
        const QString begin = R"({"data":{"note":"n","Refresh_Token" : ")" + field;
        const QString whole = begin + R"(","header":"Bearer )" + bearer + R"(","more":"m"}})";
        // Whole, and broken off within the first secret.
        for (const QString& text : {whole, begin.chopped(int(chance() % unsigned(field.size())))}) {
            const QString logged = stringifyJSONorText(text.toUtf8(), 2000);
            ASSERT_FALSE(holdsFragment(logged, field) || holdsFragment(logged, bearer)) << qPrintable(text);
        }
    }
}

TEST(LogRedactorTest, LargePayloadsCostLittleAndLeakNothing) {
    constexpr qsizetype size = 16 * 1024 * 1024;
    const QByteArray secret("S3cretS3cret");
    const QByteArray fill(size, 'x');
    const QByteArray shapes[] = {
        R"({"token":")" + secret.repeated(size / secret.size()) +
            "\"}", // a secret longer than what is looked at
        R"({"fill":")" + fill.first(64 * 1024 - 30) + R"(","token":")" + secret + "\"," + fill,
        "Bearer " + secret.repeated(size / secret.size()),
        QByteArray("\"token\":").repeated(size / 8),
        QByteArray("\"").repeated(size),
        QByteArray("\\").repeated(size),
        QByteArray("\xcc\x81").repeated(size / 2),
        QByteArray("[").repeated(size),
    };
    for (const QByteArray& shape : shapes) {
        QElapsedTimer timer;
        timer.start();
        const QString text = stringifyJSONorText(shape, 6000);
        EXPECT_LT(timer.elapsed(), 2000) << shape.first(20).constData();
        EXPECT_FALSE(text.contains("S3cretS3")) << shape.first(20).constData();
        EXPECT_TRUE(text.endsWith(QString::fromUtf8("…(%1 bytes total)").arg(shape.size())));
    }
    // The largest payload that is read whole.
    const QByteArray whole = R"({"token":")" + secret.repeated(40'000) + R"(","a":"b"})";
    EXPECT_EQ(stringifyJSONorText(whole, 6000), "{\n    \"a\": \"b\",\n    \"token\":\"<redacted>\"\n}\n");
}

} // namespace
