#include "LoginResponses.h"
#include "RemoteConfig.h"
#include "ServerWorld.h"

#include <QJsonDocument>
#include <random>

namespace {

/// A decoder of replies with a full valid body: which of its values are required, and what of it is decoded.
struct Decoder {
    const char* name;
    std::function<bool(const QByteArray&)> accepts;
    QJsonObject body;
    std::vector<const char*> required; ///< Paths of keys, "data.device_id".
    bool allowsAnyData = false;        ///< Nothing within "data" is required.
};

QJsonObject configData() {
    return {{"device_id", "d"},
            {"projects", QJsonArray{QJsonObject{{"project_id", "1"}, {"project_name", "p"}}}},
            {"screenshot_interval_minutes", 5},
            {"idle_minutes_threshold", 5},
            {"discard_idle_time", true},
            {"upload_batch_size", 10},
            {"app_timezone", "Asia/Tokyo"},
            {"today_total_seconds", qint64(9'007'199'254'740'993)},
            {"today_date", "2024-05-01"}};
}

QJsonObject loginData() {
    QJsonObject data = tokenReply("flat");
    data.insert("otp_required", 0);
    data.insert("user", QJsonObject{{"email", "a@b.example"}, {"name", "A"}});
    data.insert("init", QJsonObject{{"endpoint", "c.example"}});
    data.insert("companies", QJsonArray{QJsonObject{{"name", "C"}, {"endpoint", "c.example"}}});
    data.insert("data", tokenReply("nested"));
    data.remove("token_type");
    return data;
}

std::vector<Decoder> decoders() {
    return {{"login",
             [](const QByteArray& body) { return decodeSingleLoginResponse(body).has_value(); },
             {{"data", loginData()}},
             {"data", "data.user.email", "data.init.endpoint", "data.companies.0.name",
              "data.companies.0.endpoint", "data.data.access_token", "data.data.refresh_token",
              "data.data.token_type", "data.data.expires_at", "data.data.refresh_expires_at"},
             true},
            {"refresh",
             [](const QByteArray& body) { return decodeRefreshResponse(body).has_value(); },
             {{"data", tokenReply("new")}},
             {"data", "data.access_token", "data.expires_at"}},
            {"wrapped refresh",
             [](const QByteArray& body) { return decodeRefreshResponse(body).has_value(); },
             {{"data", QJsonObject{{"data", tokenReply("new")}}}},
             {"data", "data.data", "data.data.access_token", "data.data.expires_at"}},
            {"configuration",
             [](const QByteArray& body) { return decodeConfigResponse(body).has_value(); },
             {{"data", configData()}},
             {"data", "data.device_id", "data.projects", "data.projects.0.project_id",
              "data.projects.0.project_name", "data.screenshot_interval_minutes",
              "data.idle_minutes_threshold", "data.discard_idle_time"}}};
}

/// Calls `visit` with the path of each value of the body, and the body with that value exchanged, or taken
/// out when `replacement` is undefined.
void forEachReplaced(const QJsonValue& value, const QString& path, const QJsonValue& replacement,
                     const std::function<void(const QString&, const QJsonValue&)>& visit) {
    const auto descend = [&](const QString& key, const QJsonValue& child, auto put) {
        const QString childPath = path.isEmpty() ? key : path + '.' + key;
        visit(childPath, put(replacement));
        forEachReplaced(child, childPath, replacement,
                        [&](const QString& at, const QJsonValue& changed) { visit(at, put(changed)); });
    };
    const QJsonObject object = value.toObject();
    for (const QString& key : object.keys()) {
        descend(key, object.value(key), [&](const QJsonValue& changed) -> QJsonValue {
            QJsonObject copy = object;
            copy.insert(key, changed); // an undefined value takes the key out
            return copy;
        });
    }
    const QJsonArray array = value.toArray();
    for (int i = 0; i < array.size(); ++i) {
        descend(QString::number(i), array.at(i), [&](const QJsonValue& changed) -> QJsonValue {
            QJsonArray copy = array;
            copy.replace(i, changed); // an undefined one leaves null
            return copy;
        });
    }
}

TEST(ReplyDecoders, RequiredKeysAndTypesAreStrict) {
    const QJsonValue wrongForAll[] = {QJsonArray{1.5}, QJsonObject{{"x", 1}}, 0.5, 1e300, false};
    for (const Decoder& decoder : decoders()) {
        ASSERT_TRUE(decoder.accepts(json(decoder.body))) << decoder.name;
        const auto isRequired = [&](const QString& path) {
            return std::any_of(decoder.required.begin(), decoder.required.end(),
                               [&](const char* key) { return path == QLatin1String(key); });
        };
        int visited = 0;
        for (const QJsonValue& absent : {QJsonValue(QJsonValue::Undefined), QJsonValue()}) {
            forEachReplaced(decoder.body, {}, absent, [&](const QString& path, const QJsonValue& body) {
                ++visited;
                const bool isElement = path.endsWith(".0"); // null in a list is no record
                EXPECT_EQ(decoder.accepts(json(body.toObject())), !isRequired(path) && !isElement)
                    << decoder.name << " without " << qPrintable(path);
            });
        }
        EXPECT_GE(visited, 12) << decoder.name;
        for (const QJsonValue& wrong : wrongForAll) {
            forEachReplaced(decoder.body, {}, wrong, [&](const QString& path, const QJsonValue& body) {
                const bool fits = (path.endsWith("discard_idle_time") && wrong.isBool()) ||
                                  (path == "data" && wrong.isObject() && decoder.allowsAnyData);
                EXPECT_EQ(decoder.accepts(json(body.toObject())), fits)
                    << decoder.name << " with a wrong " << qPrintable(path);
            });
        }
    }
}

TEST(ReplyDecoders, RefuseWhatIsNoReply) {
    const QByteArray deep = R"({"data":)" + QByteArray("[").repeated(100'000);
    const QByteArray bodies[] = {"",
                                 " ",
                                 "null",
                                 "[]",
                                 "{}",
                                 "5",
                                 "\"data\"",
                                 "<!DOCTYPE html><html></html>",
                                 "{",
                                 R"({"data":)",
                                 R"({"data":{}})"
                                 "x",
                                 R"({"data":1e999})",
                                 "\xff\xfe",
                                 deep,
                                 R"({"data":[{"access_token":"a","expires_at":"b"}]})",
                                 QByteArray(1 << 20, '\0')};
    for (const Decoder& decoder : decoders()) {
        for (const QByteArray& body : bodies)
            EXPECT_FALSE(decoder.accepts(body))
                << decoder.name << ' ' << body.first(std::min<int>(body.size(), 40)).constData();
        const QByteArray valid = json(decoder.body);
        for (qsizetype length = 0; length < valid.size(); ++length)
            ASSERT_FALSE(decoder.accepts(valid.first(length))) << decoder.name << " cut at " << length;
    }
}

/// Random damage: never a crash, and what is accepted is the JSON that a second look gives too.
TEST(ReplyDecoders, SurviveDamage) {
    std::mt19937 chance(7);
    for (const Decoder& decoder : decoders()) {
        const QByteArray valid = json(decoder.body);
        int accepted = 0;
        for (int round = 0; round < 5000; ++round) {
            QByteArray body = valid;
            for (unsigned times = 1 + chance() % 3; times > 0; --times) {
                const auto at = qsizetype(chance() % unsigned(body.size()));
                switch (chance() % 4) {
                case 0:
                    body[at] = char(chance() & 0xff);
                    break;
                case 1:
                    body.remove(at, 1 + chance() % 8);
                    break;
                case 2:
                    body.insert(at, body.mid(qsizetype(chance() % unsigned(body.size())), 12));
                    break;
                default:
                    body.insert(at, R"([{"0":null},-1e9])" + (chance() % 15));
                    break;
                }
                if (body.isEmpty())
                    body = "x";
            }
            if (decoder.accepts(body)) {
                ++accepted;
                ASSERT_TRUE(decoder.accepts(json(QJsonDocument::fromJson(body).object())))
                    << body.constData();
            }
        }
        EXPECT_GT(accepted, 0) << decoder.name; // the damage is not all fatal
        EXPECT_LT(accepted, 4000) << decoder.name;
    }
}

TEST(LoginResponses, RefreshTakesTheInnerRecordElseTheOuter) {
    QJsonObject both = tokenReply("outer");
    both.insert("data", tokenReply("inner"));
    EXPECT_EQ(decodeRefreshResponse(wrapped(both))->accessToken, tokensNamed("inner").accessToken);
    both.insert("data", QJsonObject{{"access_token", "no expiry"}});
    EXPECT_EQ(decodeRefreshResponse(wrapped(both))->accessToken, tokensNamed("outer").accessToken);
}

} // namespace
