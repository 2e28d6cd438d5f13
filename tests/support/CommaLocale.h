// Numbers with a decimal comma, as programs have them that take their user's locale.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <string>

namespace testing_support {

// The process's locale, for C and C++, while it lives.
class CommaLocale {
  public:
    CommaLocale() {
        char folder[] = "/tmp/posteffect-locale-XXXXXX";
        EXPECT_NE(mkdtemp(folder), nullptr);
        m_folder = folder;
        // Made here: few machines have it.
        const std::string make = "localedef -i de_DE -f UTF-8 " + m_folder + "/de_DE.UTF-8";
        EXPECT_EQ(std::system(make.c_str()), 0) << "the package locales is missing";
        setenv("LOCPATH", folder, 1);
        std::setlocale(LC_ALL, "de_DE.UTF-8");
        std::locale::global(std::locale(std::locale::classic(), new Comma));
        char text[8];
        std::snprintf(text, sizeof text, "%.1f", 0.5);
        EXPECT_STREQ(text, "0,5");
    }
    ~CommaLocale() {
        std::locale::global(std::locale::classic());
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(m_folder);
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    // As a named locale it would leak a few bytes of the C library's.
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };

    std::string m_folder;
};

}  // namespace testing_support
