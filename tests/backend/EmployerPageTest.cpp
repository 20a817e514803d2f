#include "BackendTest.h"
#include "Html.h"

class EmployerPageTest : public BackendTest {
protected:
    EmployerPageTest() { signIn(); }

    std::string page(const std::string& query = {}) { return get("/" + query).raw; }
    static int count(const std::string& text, const std::string& part) {
        int found = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
            ++found;
        return found;
    }
};

TEST_F(EmployerPageTest, ShowsTheDayOfThoseWhoWorkedAndNamesTheOthersOnce) {
    send(heartbeat());
    send(batch({segmentRow(66, {{u"activity_rate"_qs, 10}}), segmentRow(67, {{u"activity_rate"_qs, 90}})}));
    const std::string name = joined({session, "_2025-03-14T11-01-00+01-00_0.jpg"});
    send(screenshot(name, jpegOf(1600, 900)));
    const std::string today = page();
    EXPECT_EQ(count(today, "class=\"strip\""), 1);
    EXPECT_EQ(count(today, "<i class=\"low\" title=\"11:00–11:10 · 10m 00s tracked · 10 % activity"), 1);
    EXPECT_EQ(count(today, "<i class=\"high\" title=\"11:10–11:20"), 1);
    EXPECT_EQ(count(today, "Website relaunch"), 2); // its title and its text
    EXPECT_EQ(count(today, joined({"href=\"/media/", session, "/", name, "\""})), 1);
    EXPECT_EQ(count(today, "1600 × 900"), 1);
    EXPECT_EQ(count(today, "Mina Many"), 1);
    EXPECT_EQ(count(today, "development backend"), 2);
    EXPECT_EQ(page("?day=nonsense").find("Friday, 14 March 2025") != std::string::npos, true);
    const std::string yesterday = page("?day=2025-03-13");
    EXPECT_EQ(count(yesterday, "class=\"strip\""), 0);
    EXPECT_EQ(count(yesterday, "Dana Demo"), 1);
}

TEST_F(EmployerPageTest, TellsHowEachSessionStands) {
    send(start(session, "2025-03-14T11:00:00+01:00", device));
    EXPECT_EQ(count(page(), ">Running<"), 1);
    clock = clock + 240;
    EXPECT_EQ(count(page(), ">Running<"), 1);
    clock = clock + 1;
    EXPECT_EQ(count(page(), ">Silent since 12:00<"), 1);
    control("takeover", {{u"session_uuid"_qs, QString::fromLatin1(session)}});
    EXPECT_EQ(count(page(), ">Moved to another device<"), 1);
}

TEST_F(EmployerPageTest, TextFromOutsideIsNeverMarkup) {
    const QString hostile = u"</td><script>alert(1)</script>\" onmouseover=\"x {{main}}"_qs;
    send(heartbeat({{u"task_id"_qs, hostile}}));
    const std::string shown = page();
    EXPECT_EQ(count(shown, "alert(1)"), 2);
    EXPECT_EQ(count(shown, "&lt;script&gt;alert(1)&lt;/script&gt;&quot; onmouseover=&quot;x {{main}}"), 2);
    EXPECT_EQ(count(page("?day=\"><script>alert(2)</script>"), "alert(2)"), 0);
}

TEST_F(EmployerPageTest, RunsNoScriptButItsOwn) {
    httplib::Client client("127.0.0.1", server->port());
    const auto first = client.Get("/");
    const auto second = client.Get("/");
    ASSERT_TRUE(first && second);
    const std::string policy = first->get_header_value("Content-Security-Policy");
    EXPECT_NE(policy.find("default-src 'none'"), std::string::npos);
    EXPECT_NE(policy, second->get_header_value("Content-Security-Policy")) << "the nonce can be guessed";
    EXPECT_EQ(count(first->body, "http://") + count(first->body, "https://"), 0) << "an external resource";
}

TEST(Html, FillsInOnePass) {
    using namespace backend::html;
    EXPECT_EQ(fill(u"{{a}}-{{b}}-{{a}}"_qs, {text(u"a"_qs, u"{{b}}<"_qs), markup(u"b"_qs, u"<i>"_qs)}),
              u"{{b}}&lt;-<i>-{{b}}&lt;");
}
