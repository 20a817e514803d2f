#include "ServerWorld.h"

namespace {

class APIEndpointsTest : public ServerTest {};

struct Repair {
    const char* information;
    const char* url; ///< Null: refused.
};

TEST_F(APIEndpointsTest, InformationIsRepairedOrRefused) {
    const Repair repairs[] = {
        {"https://a.example/api/v1/", "https://a.example/api/v1/"},
        {"\"https:/a.example/api/v1/\"", "https://a.example/api/v1/"},
        {"\"\"https://a.example/x/\"\"", "https://a.example/x/"},
        {"", nullptr},
        {"\"\"", nullptr},
        {"$(API_BASE_URL)", nullptr},
        {"\"$(API_BASE_URL)\"", nullptr},
        {"http://a.example/api/v1/", nullptr},
        {"HTTPS://a.example/api/v1/", nullptr},
        {"ftp://a.example/", nullptr},
        {"https://", nullptr},
        {"https://a b/", nullptr},
        {"a.example/api/v1/", nullptr},
    };
    for (const auto& [information, url] : repairs) {
        const auto repaired = APIEndpoints::bundleDefault(QString(information));
        EXPECT_EQ(repaired.value_or(QUrl()).toString(), QString(url)) << information;
    }
    EXPECT_FALSE(APIEndpoints::bundleDefault(std::nullopt));
}

TEST_F(APIEndpointsTest, SelectedCompanyThenInformationThenFallback) {
    EXPECT_EQ(services.endpoints.baseURL(), APIEndpoints::fallbackURL());
    EXPECT_EQ(APIEndpoints::fallbackURL().scheme(), "https");
    EXPECT_EQ(APIEndpoints::fallbackURL().path(), "/api/v1/");

    machine.information.values["APIBaseURL"] = "https://compiled.example/api/v1";
    const APIEndpoints compiled(services.domain, machine.information);
    EXPECT_EQ(compiled.baseURL().toString(), "https://compiled.example/api/v1/");
    services.domain.setBaseURL(DomainStorage::buildBaseURL("company.example"));
    EXPECT_EQ(compiled.baseURL().toString(), "https://company.example/api/v1/");
}

TEST_F(APIEndpointsTest, PathsStayBelowTheRoot) {
    services.domain.setBaseURL(QUrl("https://c.example:8443/api/v1/"));
    const Repair paths[] = {
        {"authentication/refresh", "https://c.example:8443/api/v1/authentication/refresh"},
        {"report?date=2024-05-01", "https://c.example:8443/api/v1/report?date=2024-05-01"},
        {"a/../b", "https://c.example:8443/api/v1/b"},
        {"/api/v2/x", nullptr},
        {"../v2/x", nullptr},
        {"a/../../x", nullptr},
        {"%2e%2e/x", nullptr},
        {"a%2f..%2f..%2fx", nullptr},
        {"//evil.example/api/v1/x", nullptr},
        {"https://evil.example/api/v1/x", nullptr},
        {"http://c.example:8443/api/v1/x", nullptr},
        {"https://c.example/api/v1/x", nullptr},
        {"https://u@c.example:8443/api/v1/x", nullptr},
        {"file:///etc/passwd", nullptr},
        {"javascript:alert(1)", nullptr},
        {"a b", nullptr},
        {"a%zz", nullptr},
    };
    for (const auto& [path, url] : paths)
        EXPECT_EQ(services.endpoints.url(path).value_or(QUrl()).toString(), QString(url)) << path;
}

} // namespace
