#include "Host/Support/Printing.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <string>
#include <unistd.h>

using namespace Lumivera;

namespace {

TEST(SafeJson, EscapesWhatJsonPermitsAndATerminalObeys) {
    EXPECT_EQ(safeJson("{\"a\x7f\":\"\u009b2J\u202e\u2028\u061c\"}"),
              R"({"a\u007f":"\u009b2J\u202e\u2028\u061c"})");
    EXPECT_EQ(safeJson("[\n  \"p\u00e9tale\"\n]\n"), "[\n  \"p\u00e9tale\"\n]\n");
}

TEST(SafeJson, KeepsTheValue) {
    const nlohmann::json value{{"name", "\x1b[2J\n\x7f\u0085\u202egnp\u2029\u2069 \U0001F338"}};
    EXPECT_EQ(nlohmann::json::parse(safeJson(value.dump())), value);
}

/// Makes stderr the writing end of a pipe.
class PipeAsStderr {
  public:
    PipeAsStderr() : _saved(dup(STDERR_FILENO)) {
        if (pipe2(_ends, O_CLOEXEC) == 0) {
            dup2(_ends[1], STDERR_FILENO);
        }
    }
    ~PipeAsStderr() {
        dup2(_saved, STDERR_FILENO);
        for (const int descriptor : {_saved, _ends[0], _ends[1]}) {
            close(descriptor);
        }
    }

    std::string text() const {
        std::string text(65536, '\0');
        fcntl(_ends[0], F_SETFL, O_NONBLOCK);
        const ssize_t count = read(_ends[0], text.data(), text.size());
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }

  private:
    int _ends[2] = {-1, -1};
    const int _saved;
};

TEST(PrintError, WritesOneLineWhateverTheTextHolds) {
    const PipeAsStderr errors;
    printError("/w/a\x1b[2J\nb.bundle: \u202eis gone");
    EXPECT_EQ(errors.text(), "lumivera: /w/a\\x1b[2J\\nb.bundle: \\u202eis gone\n");
}

TEST(PrintError, DoesNotWaitForAReaderOfAFullPipe) {
    const PipeAsStderr errors;
    for (int i = 0; i < 1000; ++i) {
        printError(std::string(1000, 'x'));
    }
    EXPECT_GT(errors.text().size(), 32768U);
    printError("read again");
    EXPECT_EQ(errors.text().find("lumivera: read again\n") != std::string::npos, true);
}

TEST(TextTable, KeepsEachCellOnOneLine) {
    EXPECT_EQ(textTable({{"a\nb", "c"}, {"\x1b", "d"}}), "a\\nb  c\n\\x1b  d\n");
}

} // namespace
