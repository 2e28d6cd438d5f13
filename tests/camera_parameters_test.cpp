// Parameter text, and what the service reads from it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "service/GECameraParameters.h"
#include "tests/support/LogCapture.h"

namespace {

using android::CameraParameters;
using android::GECameraParameters;
using android::String8;
using testing::ElementsAre;
using testing_support::LogCapture;

TEST(CameraParameters, ReadTextOfAnyShape) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {";;;", ""},
        {"a=1", "a=1"},
        {"b=2;a=1;", "a=1;b=2"},
        {"a=1;a=2", "a=2"},
        {"nothing;a=;=x;b=c=d", "a=;b=c=d"},
        {"a=1 ; b=2", " b=2;a=1 "},
        {"=;==;===", ""},
        {"a==;\xC3\xA4=\xF0\x9F\x98\x80\xFF", "a==;\xC3\xA4=\xF0\x9F\x98\x80\xFF"},
    };
    for (const auto& [text, flattened] : cases) {
        EXPECT_STREQ(CameraParameters(String8(text)).flatten().string(), flattened) << text;
    }
    const std::string large = "a=" + std::string(1 << 20, 'x');
    EXPECT_STREQ(CameraParameters(String8(large.c_str())).flatten().string(), large.c_str());
    const CameraParameters zero(String8("a=1\0b;c=2", 9));
    EXPECT_STREQ(zero.get("a"), "1");
    EXPECT_STREQ(zero.get("c"), "2");
    CameraParameters parameters(String8("old=1"));
    parameters.unflatten(String8("new=2"));
    EXPECT_EQ(parameters.get("old"), nullptr);
    parameters.set("count", 17);
    EXPECT_EQ(parameters.getInt("count"), 17);
    parameters.remove("count");
    EXPECT_EQ(parameters.getInt("count"), -1);
}

TEST(GECameraParameters, TellTheEffectByTheFirstCharacter) {
    const struct {
        const char* value;
        int number;
        const char* logged;
    } cases[] = {
        {"0", 0, "Bypass"},         {"1xyz", 1, "Vintage"},      {"9", 9, "Bloom"},
        {"B", 10, "Whiteboard"},    {"J", 18, "Color Sketch"},   {"A", -1, "invalid value"},
        {"K", -1, "invalid value"}, {"b", -1, "invalid value"},  {" 1", -1, "invalid value"},
        {"", -1, "invalid value"},  {"-1", -1, "invalid value"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        GECameraParameters parameters;
        parameters.set("GPU-effect", c.value);
        const LogCapture log;
        int number = 77;
        EXPECT_TRUE(parameters.getGPUEffect(&number));
        EXPECT_EQ(number, c.number);
        const std::string prefix = "[GECameraParameters::getGPUEffect] ";
        EXPECT_THAT(log.texts("GECameraParameters"),
                    ElementsAre(prefix + "enter", prefix + c.logged, prefix + "leave"));
    }
    GECameraParameters none;
    int number = 77;
    EXPECT_FALSE(none.getGPUEffect(&number));
    EXPECT_EQ(number, -1);
    EXPECT_FALSE(none.getGPUEffect(nullptr));
}

TEST(GECameraParameters, ReadFourNumbersOrNothing) {
    std::vector<std::pair<std::string, std::vector<int>>> cases = {
        {"1,2,3,4", {1, 2, 3, 4}},
        {"1,2,3,4junk", {1, 2, 3, 4}},
        {" 1, -2,\t3,4", {1, -2, 3, 4}},
        {"1,2,3,", {1, 2, 3, 0}},
        {",,,", {0, 0, 0, 0}},
        {"010,-09,3,4", {10, -9, 3, 4}},
        {"99999999999,-99999999999999999999,3,4", {INT_MAX, INT_MIN, 3, 4}},
        {"+1,+2,\n3,+", {1, 2, 3, 0}},
        {"1,2,3,nan", {1, 2, 3, 0}},
    };
    for (const char* refused :
         {"0x10,2,3,4", "1e9,2,3,4", "inf,2,3,4", "--1,2,3,4", "\xC3\xA4,2,3,4", "1,2,3",
          "1 ,2,3,4", "1.5,2,3,4", "", "x,2,3,4"}) {
        cases.push_back({refused, {}});
    }
    const char* keys[] = {"GE-param0", "GE-param1", "GE-param2", "GE-param3"};
    for (const auto& [value, numbers] : cases) {
        for (int group = 0; group < 4; ++group) {
            SCOPED_TRACE(value);
            GECameraParameters parameters;
            parameters.set(keys[group], value.c_str());
            const auto get = [&](int index) {
                std::vector<int> n = {5, 6, 7, 8};
                const bool ok = parameters.getGPUEffectParam(index, &n[0], &n[1], &n[2], &n[3]);
                EXPECT_EQ(parameters.getGPUEffectParam(index, nullptr, nullptr, nullptr, nullptr),
                          ok);
                EXPECT_TRUE(ok || n == (std::vector<int>{5, 6, 7, 8}));
                return ok ? n : std::vector<int>();
            };
            EXPECT_EQ(get(group), numbers);
            EXPECT_TRUE(get((group + 1) % 4).empty());
        }
    }
    GECameraParameters parameters;
    const LogCapture log;
    for (const int index : {-1, 4, INT_MIN, INT_MAX}) {
        EXPECT_FALSE(parameters.getGPUEffectParam(index, nullptr, nullptr, nullptr, nullptr));
    }
    EXPECT_TRUE(
        log.contains("[GECameraParameters::getGPUEffectParam] nIdx 4 out of range, return"));
}

}  // namespace
