// The platform layer where it needs no GL: paths, log levels, memory, references.
#include <android/log.h>
#include <binder/MemoryHeapBase.h>
#include <gmock/gmock.h>
#include <gralloc_priv.h>
#include <gtest/gtest.h>
#include <kelplog.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <ui/GraphicBuffer.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "gl/Log.h"
#include "platform/DevicePath.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/ProcessState.h"
#include "tests/support/SystemRoot.h"
#include "tests/support/Variable.h"

namespace {

using namespace testing_support;

TEST(DevicePath, LiesBelowTheGivenRootAndCannotLeaveIt) {
    const SystemRoot root;
    const std::pair<const char*, const char*> cases[] = {
        {"/system/media/GPU/a.bmp", "/system/media/GPU/a.bmp"},
        {"/data/../../../etc/passwd", "/etc/passwd"},
        {"/data/./x//y/../z", "/data/x/z"},
        {"..", "/"},
        {"/", "/"},
        {"", "/"},
    };
    for (const auto& [path, below] : cases) {
        EXPECT_EQ(platform::ResolveDevicePath(path), root.path(below)) << path;
    }
    std::FILE* file = platform::OpenDeviceFile("/data/dump.bmp", "wb");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    EXPECT_TRUE(std::filesystem::exists(root.path("/data/dump.bmp")));
    EXPECT_EQ(platform::OpenDeviceFile("/system/none.bmp", "rb"), nullptr);
    EXPECT_EQ(platform::OpenDevice("/dev/graphics/fb0", 0), -1);
}

TEST(DevicePath, IsTakenAsItStandsWhereThereIsNoRoot) {
    unsetenv("POSTEFFECT_SYSROOT");
    for (const char* path : {"/etc/passwd", "/data/none-such"}) {
        EXPECT_EQ(platform::ResolveDevicePath(path), path);
    }
}

TEST(Log, LevelsComeFromTheEnvironmentForAllTagsOrForOne) {
    constexpr unsigned kError = 0x10;
    constexpr unsigned kInfo = 0x14;
    constexpr unsigned kDebug = 0x16;
    const std::pair<const char*, unsigned> cases[] = {
        {"", kError},
        {"error", kError},
        {"none", 0},
        {"info", kInfo},
        {"debug", kDebug},
        {"all", ~0U},
        {"loud", kError},
        {"GLTexture=debug", kDebug},
        {"GEManager=debug", kError},
        {"info,GLTexture=error", kError},
        {"GLTexture=debug,info", kDebug},
        {"GLTexture=debug,GLTexture=info", kInfo},
        {",,=,GLTexture=", kError},
    };
    for (const auto& [levels, wanted] : cases) {
        SCOPED_TRACE(levels);
        const Variable variable("POSTEFFECT_LOG", levels);
        unsigned mask = 0x80;
        __kelplog_init_mask("GLTexture", ~0U, &mask);
        EXPECT_EQ(mask, wanted);
        LogTag tag("GLTexture");
        EXPECT_EQ(tag.wants(LogTag::kDebug), (wanted & 0x2) != 0);
        EXPECT_EQ(tag.wants(LogTag::kError), (wanted & kError) != 0);
    }
    unsigned mask = 0;
    __kelplog_init_mask("GLTexture", 0, &mask);
    EXPECT_EQ(mask, 0U);
}

TEST(Log, WritesOneLineForEachMessage) {
    testing::internal::CaptureStderr();
    __android_log_print(ANDROID_LOG_ERROR, "Tag", "[%s] two ends\n\n", "Op");
    __android_log_print(ANDROID_LOG_DEBUG, "Tag", "%s", std::string(9000, 'x').c_str());
    __android_log_print(ANDROID_LOG_INFO, std::string(5000, 't').c_str(), "long tag");
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::StartsWith("E/Tag     ("));
    EXPECT_THAT(text, testing::HasSubstr("): [Op] two ends\nD/Tag     ("));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
    EXPECT_EQ(text.back(), '\n');
}

TEST(GraphicBuffer, HasRowsOfTheLengthAskedForAndZeroedMemory) {
    for (const auto& [width, height, format, bytes] :
         {std::tuple{1U, 1U, 1, 4U}, {33U, 7U, 3, 3U}, {100U, 50U, 4, 2U}, {1280U, 720U, 1, 4U}}) {
        const android::sp<android::GraphicBuffer> buffer(
            new android::GraphicBuffer(width, height, format, 0x130));
        ASSERT_EQ(buffer->initCheck(), 0);
        EXPECT_EQ(buffer->getStride(), width);
        const private_handle_t* handle =
            private_handle_t::dynamicCast(buffer->getNativeBuffer()->handle);
        EXPECT_EQ(handle->size, static_cast<int>(width * height * bytes));
        EXPECT_EQ(handle->flags, 0x130);
        auto* pixels = static_cast<unsigned char*>(handle->base);
        EXPECT_EQ(std::count(pixels, pixels + handle->size, 0), handle->size);
        // The same memory shows behind the descriptor.
        pixels[handle->size - 1] = 77;
        unsigned char last = 0;
        EXPECT_EQ(pread(handle->fd, &last, 1, handle->size - 1), 1);
        EXPECT_EQ(last, 77);
    }
}

TEST(GraphicBuffer, RefusesSizesAndFormatsThatCannotBe) {
    for (const auto& [width, height, format] : {std::tuple{0U, 10U, 1},
                                                {10U, 0U, 1},
                                                {32769U, 1U, 1},
                                                {UINT_MAX, UINT_MAX, 1},
                                                {32768U, 32768U, 1},
                                                {10U, 10U, 2}}) {
        const android::sp<android::GraphicBuffer> buffer(
            new android::GraphicBuffer(width, height, format, 0));
        EXPECT_LT(buffer->initCheck(), 0) << width << "x" << height;
    }
}

TEST(Memory, GoesWithTheLastReferenceWhicheverSideHoldsIt) {
    const auto before = ReadProcessState();
    {
        android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(64, 64, 1, 0));
        ANativeWindowBuffer* native = buffer->getNativeBuffer();
        native->common.incRef(&native->common);
        const android::sp<android::GraphicBuffer> copy = buffer;
        EXPECT_EQ(buffer->getStrongCount(), 3);
        buffer.clear();
        EXPECT_EQ(native->handle->size, 64 * 64 * 4);
        native->common.decRef(&native->common);
        EXPECT_EQ(copy->getStrongCount(), 1);

        // What a moved-to pointer held goes at once, not with the pointer it was moved from.
        android::sp<android::GraphicBuffer> target(new android::GraphicBuffer(8, 8, 1, 0));
        android::sp<android::GraphicBuffer> source = copy;
        target = std::move(source);
        EXPECT_EQ(ReadProcessState().descriptors, before.descriptors + 1);
        EXPECT_EQ(copy->getStrongCount(), 2);

        const android::sp<android::MemoryHeapBase> heap(
            new android::MemoryHeapBase(1000, 0x200, nullptr));
        EXPECT_GE(heap->getHeapID(), 0);
        EXPECT_EQ(heap->getSize(), 1000U);
        std::memset(heap->getBase(), 1, 1000);
        EXPECT_EQ(ReadProcessState().descriptors, before.descriptors + 2);
        for (const std::size_t size : {std::size_t{0}, SIZE_MAX / 2}) {
            const android::sp<android::MemoryHeapBase> none(new android::MemoryHeapBase(size));
            EXPECT_LT(none->getHeapID(), 0) << size;
        }
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit small{4096, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const android::sp<android::MemoryHeapBase> beyond(new android::MemoryHeapBase(4097));
        EXPECT_LT(beyond->getHeapID(), 0) << "and no signal";
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    EXPECT_EQ(ReadProcessState().descriptors, before.descriptors);
}

// Without the guard, every test that relies on it would pass over any stray access.
TEST(GuardedBufferDeathTest, EndsTheProcessAtTheFirstByteOutside) {
    for (const std::size_t size : {1U, 4096U, 5000U}) {
        GuardedBuffer behind(size);
        GuardedBuffer before(size, Guard::kBefore);
        for (auto* buffer : {&behind, &before}) {
            buffer->data()[0] = 1;
            buffer->data()[size - 1] = 1;
        }
        EXPECT_DEATH(behind.data()[size] = 1, "") << size;
        EXPECT_DEATH(*(before.data() - 1) = 1, "") << size;
    }
}

}  // namespace
