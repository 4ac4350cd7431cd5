#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// How grave a remark about a bundle is: it does not work or not as meant; it looks like a mistake;
/// it could be better.
enum class Degree { Wrong, Doubtful, Advice };

/// "wrong", "doubtful" or "advice".
std::string_view nameOf(Degree degree);

/// One thing that a rule has found.
struct Remark {
    Degree degree = Degree::Wrong;

    /// The rule's name.
    std::string rule;

    /// The file, the key of the description or the function that it is about.
    std::string subject;

    std::string words;

    /// What to do; may be empty.
    std::string remedy;

    /// "subject: words; remedy"
    std::string line() const;
};

using Remarks = std::vector<Remark>;

/// Takes the remarks of one rule: many, but not as many as a bundle can give cause for. The last
/// one then stands for the rest.
class Reporter {
  public:
    static constexpr std::size_t kMaxRemarks = 100;

    /// The remarks are not owned.
    Reporter(std::string_view rule, Remarks &remarks) : _rule(rule), _remarks(remarks) {}

    void wrong(std::string subject, std::string words, std::string remedy) const;
    void doubt(std::string subject, std::string words, std::string remedy) const;
    void advise(std::string subject, std::string words, std::string remedy) const;

    void add(Degree degree, std::string subject, std::string words, std::string remedy) const;

    /// The line of a HostError: "subject: words; remedy".
    void add(Degree degree, std::string_view line) const;

  private:
    const std::string _rule;
    Remarks &_remarks;
    mutable std::size_t _count = 0;
};

} // namespace Lumivera
