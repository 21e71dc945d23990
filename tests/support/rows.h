/// Tables of test cases, for value-parameterised tests. Each row has a name, which becomes the end of its test's name.
///
///     struct TrimRow : support::Row {
///         const wchar_t* text;
///         const wchar_t* trimmed;
///     };
///     const TrimRow trimRows[] = {
///         {{"LeadingBlanks"}, L"  a", L"a"},
///     };
///     INSTANTIATE_TEST_SUITE_P(, TrimTable, ::testing::ValuesIn(trimRows), support::RowName());
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace support {

struct Row {
    const char* name; ///< letters, digits and underscores

    friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

/// Names a test after its row.
struct RowName {
    template <class Info> std::string operator()(const Info& info) const { return info.param.name; }
};

/// Names the two tests of a bool parameter.
class FlagName {
  public:
    FlagName(const char* whenFalse, const char* whenTrue) : m_names{whenFalse, whenTrue} {}
    std::string operator()(const ::testing::TestParamInfo<bool>& info) const { return m_names[info.param ? 1 : 0]; }

  private:
    const char* m_names[2];
};

} // namespace support
