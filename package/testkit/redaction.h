/// Removes names of users and computers from the test log.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Replaces the kit's folder, the user's folders, and the names of user and computer by placeholders such as <user>.
///
///     Redaction(kit).Apply("C:\\Users\\jane\\kit\\bin\\a.exe, of Jane") // "<kit>\\bin\\a.exe, of <user>"
///
/// Finds them in any case, with either kind of slash, single or doubled, as long or short file names, and in UTF-8, the
/// ANSI and the OEM code page. Names are replaced only as whole words. Other kinds of escaped text are not recognised.
class Redaction {
  public:
    explicit Redaction(const std::filesystem::path& kit);

    [[nodiscard]] std::string Apply(const std::string& text) const;

  private:
    struct Rule {
        std::string text; ///< with its ASCII letters in lower case
        std::string placeholder;
        bool isName = false; ///< a whole word; otherwise a path
    };

    void AddPath(const std::wstring& path, const std::string& placeholder);
    void AddName(const std::wstring& name, const std::string& placeholder);
    void AddRules(const std::wstring& text, const std::string& placeholder, bool isName);

    /// The length of the rule's match at `position`, or 0.
    [[nodiscard]] static std::size_t Match(const Rule& rule, const std::string& text, std::size_t position) noexcept;

    std::vector<Rule> m_rules; // longest first
};
