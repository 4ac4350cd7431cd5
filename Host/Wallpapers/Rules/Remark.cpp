#include "Host/Wallpapers/Rules/Remark.h"

#include <algorithm>
#include <utility>

namespace Lumivera {

std::string_view nameOf(Degree degree) {
    switch (degree) {
    case Degree::Wrong:
        return "wrong";
    case Degree::Doubtful:
        return "doubtful";
    case Degree::Advice:
        return "advice";
    }
    return "";
}

std::string Remark::line() const {
    return subject + ": " + words + (remedy.empty() ? "" : "; " + remedy);
}

void Reporter::wrong(std::string subject, std::string words, std::string remedy) const {
    add(Degree::Wrong, std::move(subject), std::move(words), std::move(remedy));
}

void Reporter::doubt(std::string subject, std::string words, std::string remedy) const {
    add(Degree::Doubtful, std::move(subject), std::move(words), std::move(remedy));
}

void Reporter::advise(std::string subject, std::string words, std::string remedy) const {
    add(Degree::Advice, std::move(subject), std::move(words), std::move(remedy));
}

void Reporter::add(Degree degree, std::string_view line) const {
    const std::size_t colon = line.find(": ");
    const std::size_t semicolon = line.rfind("; ");
    const std::size_t start = colon == line.npos ? 0 : colon + 2;
    const std::size_t end = semicolon == line.npos || semicolon < start ? line.size() : semicolon;
    add(degree, std::string(line.substr(0, colon == line.npos ? 0 : colon)),
        std::string(line.substr(start, end - start)),
        std::string(end == line.size() ? "" : line.substr(end + 2)));
}

void Reporter::add(Degree degree, std::string subject, std::string words,
                   std::string remedy) const {
    ++_count;
    if (_count <= kMaxRemarks) {
        _remarks.push_back(
            {degree, _rule, std::move(subject), std::move(words), std::move(remedy)});
    } else if (_count == kMaxRemarks + 1) {
        _remarks.push_back({degree, _rule, "the rest", "there is more of this kind",
                            "mend what stands above first"});
    } else {
        _remarks.back().degree = std::min(_remarks.back().degree, degree);
    }
}

} // namespace Lumivera
