// A page about a session: hostile texts stay texts, and what is outside its limits is marked.

#include "workbench/record/SessionReport.h"

#include "engine/Calvane.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace record;

namespace {

class SessionReport : public testing::Test {
protected:
    SessionReport() {
        writeText(folder / "r.vrk", "NV_<B>&,10,ReadWrite,<BYTE,gain>#<BYTE,offset>#\n");
        writeText(folder / "r.units", "10 1 dBm 0.5 - 1 10\n");
        catalog.loadDecoderRingFile(folder / "r.vrk");
        session.kind = SessionKind::kWrite;
        session.state = SessionState::kIncomplete;
    }
    std::string page(const SessionItem& item) {
        return sessionReport(session, std::vector{item}, catalog, workbench::Units::load(folder / "r.units"));
    }
    static SessionItem itemOf(std::uint8_t before, std::uint8_t after) {
        SessionItem item{.number = 10, .state = ItemState::kVerified};
        item.before.emplace()[0] = before;
        item.wanted.emplace()[0] = after;
        item.after = item.wanted;
        return item;
    }

    const TemporaryFolder folder;
    Calvane catalog;
    Session session;
};

bool has(const std::string& page, const std::string& text) {
    return page.find(text) != std::string::npos;
}

TEST_F(SessionReport, EveryTextIsText) {
    const std::string hostile = "<script>\"x\" & \x1b[31m\xff</td>";
    const std::string harmless = "&lt;script&gt;&quot;x&quot; &amp; \\x1b[31m\\xff&lt;/td&gt;";
    SessionItem item = itemOf(2, 4);
    std::string* const texts[] = {&session.program,
                                  &session.ringPath,
                                  &session.port,
                                  &session.phone.model,
                                  &session.phone.serialNumber,
                                  &session.phone.softwareVersion,
                                  &session.user,
                                  &session.host,
                                  &session.asked,
                                  &session.failure,
                                  &session.note,
                                  &session.uuid,
                                  &session.ringSha256,
                                  &item.reason};
    for (std::string* text : texts) {
        const std::string before = std::exchange(*text, hostile);
        const std::string made = page(item);
        EXPECT_TRUE(has(made, harmless)) << text - texts[0];
        EXPECT_FALSE(has(made, "<script>")) << text - texts[0];
        EXPECT_FALSE(has(made, "\x1b"));
        *text = before;
    }
    EXPECT_TRUE(has(page(item), "<td>NV_&lt;B&gt;&amp;</td>"));
    session.note = "one\ntwo";
    EXPECT_TRUE(has(page(item), "<td>one<br>two</td>"));
}

TEST_F(SessionReport, ValuesOutsideTheirLimitsAreMarkedAndCounted) {
    const std::string within = page(itemOf(40, 4));
    EXPECT_TRUE(has(within, "<p>Values with limits: 1, all within them.</p>"));
    EXPECT_FALSE(has(within, "class=\"out\""));
    EXPECT_TRUE(has(within, "<td>40, 0</td><td>4, 0</td><td>4, 0</td>"));
    const std::string outside = page(itemOf(4, 40));
    EXPECT_TRUE(has(outside, "<span class=\"out\">Values with limits: 1, outside them: 1.</span>"));
    EXPECT_TRUE(has(outside, "<span class=\"out\">[1] gain: 20.0 dBm, high (1.0 dBm to 10.0 dBm)</span>"));
    SessionItem unread = itemOf(4, 40);
    unread.after.reset();
    EXPECT_TRUE(has(page(unread), "No limits are known")) << "nothing is said of a value that nobody has seen";
}

} // namespace
