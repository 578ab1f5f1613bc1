#include "tools/norvik/LogPage.h"

#include <gmock/gmock.h>

using namespace NorvikTool;
using namespace std::string_literals;
using testing::HasSubstr;

TEST(LogPage, AnyBytesAreEscaped) {
    const struct {
        std::string text, html, json;
    } cases[] = {
        {"a</script><!-- & \"b\"", "a&lt;/script&gt;&lt;!-- &amp; &quot;b&quot;",
         "\"a\\u003c/script>\\u003c!-- & \\u0022b\\u0022\""},
        {"\0\x1B\n\\"s, "??\n\\", "\"\\u0000\\u001b\\n\\u005c\""},
        {"\xC3\xBC \xF0\x9F\x8E\x9B", "\xC3\xBC \xF0\x9F\x8E\x9B", "\"\xC3\xBC \xF0\x9F\x8E\x9B\""},
        // Cut, overlong, half of a pair, beyond the last character, not a first byte.
        {"\xC3|\xC0\xAF|\xED\xA0\x80|\xF4\x90\x80\x80|\x80", "?|??|???|????|?", "\"?|??|???|????|?\""},
    };
    for (const auto& [text, html, json] : cases) {
        const auto marked = [](std::string escaped) {
            for (std::size_t at; (at = escaped.find("\xEF\xBF\xBD")) != escaped.npos;)
                escaped.replace(at, 3, "?");
            return escaped;
        };
        EXPECT_EQ(marked(HtmlText(text)), html);
        EXPECT_EQ(marked(JsonText(text)), json);
    }
}

TEST(LogPage, BlockedLoopsHaveTheirStacksAndTheTimesThatTheLogTells) {
    const std::string elw =
                          "ELW: Handler Loader is currently blocking event loop. Event loop thread ID is 2.",
                      frame = "  #00 A.exe+0x1", stack = "  Stack: A.exe 0x140000001",
                      end = " has blocked event loop for 9000 milliseconds.";
    const struct {
        std::vector<std::string> lines;
        std::string picture;  // handler, how long, frames, line; of each
    } cases[] = {
        {{"x", elw, frame, "of another thread", stack, frame, "Event handler Loader" + end},
         "Loader 9000 2 1|"},
        {{"Event handler Meters (just unregistered)" + end}, "Meters (just unregistered) 9000 0 0|"},
        // The first never returned; another loop's handler did.
        {{elw, elw, stack, "Event handler Other" + end}, "Loader - 0 0|Loader - 1 1|Other 9000 0 3|"},
        {{"ELW: Event loop thread is currently blocking event loop. No thread context is known.",
          "Event handler A" + end},
         "A 9000 0 0|"},
        {{"ELW: event loop seems to be unblocked.", "Event handler A has blocked event loop for ever"}, ""},
    };
    for (const auto& [texts, picture] : cases) {
        std::vector<LogLine> lines;
        for (const std::string& text : texts)
            lines.push_back({LogLine::Kind::Record, 1000, false, text});
        std::string found;
        for (const BlockedLoop& blocked : FindBlockedLoops(lines))
            found += blocked.handler + " " + (blocked.lasted ? std::to_string(*blocked.lasted) : "-") + " " +
                     std::to_string(blocked.stack.size()) + " " + std::to_string(blocked.line) + "|";
        EXPECT_EQ(found, picture);
    }
}

TEST(LogPage, TablesAreBoundedAndTheCountsAreNot) {
    std::vector<LogLine> lines;
    for (int i = 0; i < 1000; ++i)
        lines.push_back(
            {LogLine::Kind::Record, 1000 + i, false,
             "REPORT >>> Failure! Nov 21 2026 @ 18:59:23 no <answer> in A.cpp(" + std::to_string(i) + ")."});
    for (const char* const text :
         {"ELW: Handler <b>Loader</b> is currently blocking event loop. Event loop thread ID is 2.",
          "  #00 A.exe+0x1  f<int>()"})
        lines.push_back({LogLine::Kind::Record, 3000, false, text});
    LogPage page("Run <1>");
    page.AddFile("a & </b>.log", lines, [](std::int64_t) { return 60; });
    const std::string html = page.Html();
    EXPECT_THAT(html,
                HasSubstr("<main data-lines=\"1002\" data-failures=\"1000\" data-failure-lines=\"1000\" "
                          "data-places=\"1000\" data-blocked=\"1\" data-files=\"1\">"));
    EXPECT_THAT(html, HasSubstr("700 more"));
    EXPECT_THAT(html, HasSubstr("<title>Run &lt;1&gt;</title>"));
    EXPECT_THAT(html, HasSubstr("<b>&lt;b&gt;Loader&lt;/b&gt;</b>"));
    EXPECT_THAT(html, HasSubstr("f&lt;int&gt;()\n</pre>"));
    EXPECT_THAT(html, HasSubstr("a & \\u003c/b>.log"));
    EXPECT_EQ(html.find("<answer>"), html.npos);
}
