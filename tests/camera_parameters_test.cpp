// Parameter text, and what the service reads from it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "service/GECameraParameters.h"
#include "tests/support/LogCapture.h"

namespace {

using android::CameraParameters;
using android::GECameraParameters;
using android::String8;
using testing::ElementsAre;
using testing_support::LogCapture;

TEST(CameraParameters, ReadTextOfAnyShape) {
    const struct {
        const char* text;
        const char* flattened;
    } cases[] = {
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
    for (const auto& c : cases) {
        EXPECT_STREQ(CameraParameters(String8(c.text)).flatten().string(), c.flattened) << c.text;
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
    const struct {
        const char* value;
        bool ok;
        int a, b, c, d;
    } cases[] = {
        {"1,2,3,4", true, 1, 2, 3, 4},
        {"1,2,3,4junk", true, 1, 2, 3, 4},
        {" 1, -2,\t3,4", true, 1, -2, 3, 4},
        {"1,2,3,", true, 1, 2, 3, 0},
        {",,,", true, 0, 0, 0, 0},
        {"010,-09,3,4", true, 10, -9, 3, 4},
        {"99999999999,-99999999999999999999,3,4", true, INT_MAX, INT_MIN, 3, 4},
        {"+1,+2,\n3,+", true, 1, 2, 3, 0},
        {"1,2,3,nan", true, 1, 2, 3, 0},
        {"0x10,2,3,4", false, 0, 0, 0, 0},
        {"1e9,2,3,4", false, 0, 0, 0, 0},
        {"inf,2,3,4", false, 0, 0, 0, 0},
        {"--1,2,3,4", false, 0, 0, 0, 0},
        {"\xC3\xA4,2,3,4", false, 0, 0, 0, 0},
        {"1,2,3", false, 0, 0, 0, 0},
        {"1 ,2,3,4", false, 0, 0, 0, 0},
        {"1.5,2,3,4", false, 0, 0, 0, 0},
        {"", false, 0, 0, 0, 0},
        {"x,2,3,4", false, 0, 0, 0, 0},
    };
    const char* keys[] = {"GE-param0", "GE-param1", "GE-param2", "GE-param3"};
    for (const auto& c : cases) {
        for (int group = 0; group < 4; ++group) {
            SCOPED_TRACE(c.value);
            GECameraParameters parameters;
            parameters.set(keys[group], c.value);
            int a = 5, b = 6, cc = 7, d = 8;
            ASSERT_EQ(parameters.getGPUEffectParam(group, &a, &b, &cc, &d), c.ok);
            EXPECT_EQ(a, c.ok ? c.a : 5);
            EXPECT_EQ(b, c.ok ? c.b : 6);
            EXPECT_EQ(cc, c.ok ? c.c : 7);
            EXPECT_EQ(d, c.ok ? c.d : 8);
            EXPECT_EQ(parameters.getGPUEffectParam(group, nullptr, nullptr, nullptr, nullptr),
                      c.ok);
            EXPECT_FALSE(parameters.getGPUEffectParam((group + 1) % 4, &a, &b, &cc, &d));
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
