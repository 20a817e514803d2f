#include "server/LoginResponses.h"

#include "model/Json.h"

namespace {

/// Reads the keys of one object. An optional key of the wrong type invalidates the record.
class Reader {
public:
    explicit Reader(const QJsonObject& json)
        : json_(json) {}

    std::optional<QString> text(const char* key) { return checked(key, Json::string(json_, key)); }
    std::optional<qint64> integer(const char* key) { return checked(key, Json::integer(json_, key)); }
    template <typename Decode>
    auto object(const char* key, Decode decode) {
        return checked(key, Json::then(Json::object(json_, key), decode));
    }
    template <typename Decode>
    auto array(const char* key, Decode decode) {
        return checked(key, Json::then(Json::array(json_, key), decode));
    }
    bool isWellTyped() const { return isWellTyped_; }

private:
    template <typename T>
    std::optional<T> checked(const char* key, std::optional<T> value) {
        isWellTyped_ = isWellTyped_ && !Json::isMistyped(json_, key, value);
        return value;
    }

    const QJsonObject& json_;
    bool isWellTyped_ = true;
};

std::optional<LoginUser> userFromJson(const QJsonObject& json) {
    Reader reader(json);
    const auto email = reader.text("email");
    const auto name = reader.text("name");
    return email && reader.isWellTyped() ? std::optional(LoginUser{*email, name}) : std::nullopt;
}

std::optional<std::vector<LoginCompany>> companiesFromJson(const QJsonArray& json) {
    std::vector<LoginCompany> companies;
    for (const QJsonValue& value : json) {
        const QJsonObject company = value.toObject();
        const auto name = Json::string(company, "name");
        const auto endpoint = Json::string(company, "endpoint");
        if (!name || !endpoint)
            return std::nullopt;
        companies.push_back({*name, *endpoint});
    }
    return companies;
}

std::optional<TokenTexts> nestedTokensFromJson(const QJsonObject& json) {
    const auto accessToken = Json::string(json, "access_token");
    const auto refreshToken = Json::string(json, "refresh_token");
    const auto expiresAt = Json::string(json, "expires_at");
    const auto refreshExpiresAt = Json::string(json, "refresh_expires_at");
    if (!accessToken || !refreshToken || !expiresAt || !refreshExpiresAt || !Json::string(json, "token_type"))
        return std::nullopt;
    return TokenTexts{*accessToken, *refreshToken, *expiresAt, *refreshExpiresAt};
}

std::optional<SingleLoginData> loginDataFromJson(const QJsonObject& json) {
    Reader reader(json);
    SingleLoginData data;
    data.otpRequired = reader.integer("otp_required");
    data.user = reader.object("user", userFromJson);
    data.initEndpoint = reader.object("init", [](const QJsonObject& init) { return Json::string(init, "endpoint"); });
    data.companies = reader.array("companies", companiesFromJson);
    data.nestedData = reader.object("data", nestedTokensFromJson);
    data.accessToken = reader.text("access_token");
    data.refreshToken = reader.text("refresh_token");
    data.expiresAt = reader.text("expires_at");
    data.refreshExpiresAt = reader.text("refresh_expires_at");
    return reader.isWellTyped() ? std::optional(data) : std::nullopt;
}

std::optional<RefreshResponseData> refreshDataFromJson(const QJsonObject& json) {
    Reader reader(json);
    const auto accessToken = reader.text("access_token");
    const auto expiresAt = reader.text("expires_at");
    const auto refreshToken = reader.text("refresh_token");
    const auto refreshExpiresAt = reader.text("refresh_expires_at");
    reader.text("token_type");
    if (!accessToken || !expiresAt || !reader.isWellTyped())
        return std::nullopt;
    return RefreshResponseData{*accessToken, refreshToken, *expiresAt, refreshExpiresAt};
}

/// One member of a JSON object as text, for bodies with a fixed key order: QJsonObject sorts its keys.
QByteArray member(const char* key, const QJsonValue& value) {
    return Json::compact({{key, value}}).sliced(1).chopped(1);
}

std::optional<QJsonObject> dataOf(const QByteArray& json) {
    return Json::object(Json::object(json).value_or(QJsonObject()), "data");
}

} // namespace

QByteArray encode(const LoginRequest& request) {
    QByteArrayList members{
        member("email", request.email),
        member("password", request.password),
        member("remember_me", request.rememberMe),
        member("use_jwt", request.useJwt),
    };
    if (request.isOtp)
        members.append(member("is_otp", *request.isOtp));
    return '{' + members.join(',') + '}';
}

std::optional<TokenTexts> SingleLoginData::tokens() const {
    if (nestedData)
        return nestedData;
    if (!accessToken || !refreshToken || !expiresAt || !refreshExpiresAt)
        return std::nullopt;
    return TokenTexts{*accessToken, *refreshToken, *expiresAt, *refreshExpiresAt};
}

std::optional<SingleLoginData> decodeSingleLoginResponse(const QByteArray& json) {
    return Json::then(dataOf(json), loginDataFromJson);
}

std::optional<RefreshResponseData> decodeRefreshResponse(const QByteArray& json) {
    const auto data = dataOf(json);
    if (!data)
        return std::nullopt;
    const auto doublyWrapped = Json::then(Json::object(*data, "data"), refreshDataFromJson);
    return doublyWrapped ? doublyWrapped : refreshDataFromJson(*data);
}
