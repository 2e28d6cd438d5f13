// What the command decides before and after the pixels, without the library.
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/EffectParameters.h"
#include "apps/posteffect/BlockSize.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/NearestName.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/UnfinishedFile.h"
#include "tests/support/CommandRunner.h"

namespace {

using posteffect::Size;

const posteffect::EffectInfo& Effect(const std::string& nick) {
    return *std::find_if(posteffect::kEffects.begin(), posteffect::kEffects.end(),
                         [&nick](const auto& row) { return row.nick == nick; });
}

TEST(BlockSize, FitsThePictureAndTheGpuForAnySize) {
    std::mt19937 random(3);
    // All magnitudes alike.
    const auto side = [&random] {
        const int bound = 2 << random() % 16;
        return 1 + static_cast<int>(random() % static_cast<unsigned>(bound)) % 65500;
    };
    const auto pixels = [](Size size) { return double{1} * size.width * size.height; };
    for (int i = 0; i < 5000; ++i) {
        const Size picture = {side(), side()};
        SCOPED_TRACE(SizeText(picture));
        PostEffectRenderer renderer{};
        renderer.isSoftware = i % 2;
        const auto choose = [&](const char* nick, bool portrait = false) {
            return posteffect::ChooseBlockSize(picture, Effect(nick), renderer, portrait);
        };
        const Size third = choose("dof");
        EXPECT_TRUE(third.width % 32 == 0 && third.height % 2 == 0);
        EXPECT_GE(third.width, 960);
        EXPECT_TRUE(third.width == 16384 || third.width * 32 >= picture.width * 9);
        EXPECT_TRUE(third.height == 16384 || third.width == 16384 ||
                    (third.height + 2) * 32 >= picture.height * 9);
        EXPECT_GT(third.height, 128) << "what blurs take of it";
        if (pixels(picture) <= 50e6 && third.width > 960 && third.height > 160) {
            EXPECT_LE(pixels(third), 1.05 * (4 << 20)) << "64 MiB, and what is rounded up";
        }
        if (std::max(picture.width, picture.height) <= 16384) {
            // A mirror's fold runs through each block.
            EXPECT_GE(choose("mirror").width, picture.width);
            EXPECT_GE(choose("mirror", true).height, picture.height);
            const Size whole = choose("whiteboard");
            EXPECT_GE(whole.width, picture.width);
            EXPECT_TRUE(pixels(picture) > 16 << 20 || whole.height >= picture.height);
        }
        for (const char* nick : {"contrast", "vignette"}) {
            const Size block = choose(nick);
            EXPECT_TRUE(block.width % 32 == 0 && block.height % 2 == 0);
            EXPECT_GE(block.width, 32);
            EXPECT_GE(block.height, 2);
            EXPECT_LE(block.width, std::min(picture.width + 31, 2048));
            EXPECT_LE(block.height, std::min(picture.height + 1, 2048));
            if (block.height > 2 && block.height < 2048) {
                const double rows = double{1} * block.width * picture.height / picture.width;
                EXPECT_TRUE(block.height >= picture.height || std::abs(block.height - rows) < 1.6)
                    << "the picture's aspect";
            }
        }
    }
    PostEffectRenderer gpu{};
    PostEffectRenderer software{};
    software.isSoftware = 1;
    const Size photo = {4000, 3000};
    EXPECT_EQ(SizeText(ChooseBlockSize(photo, Effect("contrast"), gpu)), "1024x768");
    EXPECT_EQ(SizeText(ChooseBlockSize(photo, Effect("contrast"), software)), "512x384");
    EXPECT_EQ(SizeText(ChooseBlockSize(photo, Effect("vignette"), software)), "800x600");
}

TEST(NearestName, OffersWhatWasMeantAndNothingFarFetched) {
    const std::vector<std::string> names = {"none", "vignette", "vintage", "--radius", "--center"};
    const std::pair<const char*, const char*> rows[] = {{"vignete", "vignette"},
                                                        {"VINTAEG", "vintage"},
                                                        {"--radus", "--radius"},
                                                        {"noen", "none"},
                                                        {"x", ""},
                                                        {"completely different", ""}};
    for (const auto& [word, meant] : rows) EXPECT_EQ(posteffect::NearestName(word, names), meant);
}

TEST(Parameters, BothGroupsAlwaysTravelWithFourNumbersOnTheDisplayGrid) {
    const auto& vignette = Effect("vignette");
    // Centre, radius, strength, in the order of the table.
    const std::pair<posteffect::OptionValues, const char*> rows[] = {
        {posteffect::DefaultValues(vignette), "50,0,0,0;GE-param1=480,272,912,272"},
        {{{1, 0}, {1, 0}, {99.6, 0}}, "100,0,0,0;GE-param1=960,0,1920,0"},
        {{{0.25, 1.0}, {0.0, 0}, {0, 0}}, "0,0,0,0;GE-param1=240,544,240,544"},
    };
    for (const auto& [values, text] : rows) {
        EXPECT_EQ(posteffect::FlattenParameters(vignette, values),
                  std::string("GPU-effect=4;GE-param0=") + text);
    }
    EXPECT_EQ(posteffect::FlattenParameters(Effect("none"), {}),
              "GPU-effect=0;GE-param0=0,0,0,0;GE-param1=0,0,0,0");
}

// The process ends as soon as a file has grown to the limit.
void InterruptAtFileSize(rlim_t size) {
    std::signal(SIGXFSZ, [](int) { std::raise(SIGINT); });
    const rlimit limit = {size, size};
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(OutputFile, AnInterruptInMidWriteLeavesNothing) {
    const TestFolder folder;
    const std::string path = folder.path("out.jpg");
    GTEST_FLAG_SET(death_test_style, "fast");  // the folder is this process's
    EXPECT_EXIT(
        {
            posteffect::InstallInterruptHandler();
            InterruptAtFileSize(1 << 16);
            posteffect::OutputFile(path, "in.jpg", false).write(std::vector<std::uint8_t>(1 << 18));
        },
        testing::ExitedWithCode(posteffect::kExitInterrupted), "");
    EXPECT_EQ(folder.names(), Words{});
}

TEST(OutputFile, AFileThatComesUpDuringTheWorkIsNotReplaced) {
    const TestFolder folder;
    const posteffect::OutputFile output(folder.path("out.jpg"), "in.jpg", false);
    folder.write("out.jpg", {1});
    EXPECT_THROW(output.write({2, 3}), posteffect::Failure);
    EXPECT_EQ(folder.read("out.jpg"), Bytes{1});
    EXPECT_EQ(folder.names(), Words{"out.jpg"});
}

TEST(OutputFile, ReplacingKeepsPermissionsAndLinks) {
    const TestFolder folder;
    folder.write("file.jpg", {1});
    ASSERT_EQ(chmod(folder.path("file.jpg").c_str(), 0640), 0);
    std::filesystem::create_symlink("file.jpg", folder.path("link.jpg"));
    posteffect::OutputFile(folder.path("link.jpg"), "in.jpg", true).write({2, 3});
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.jpg")));
    EXPECT_EQ(folder.read("file.jpg"), (Bytes{2, 3}));
    struct stat status = {};
    ASSERT_EQ(stat(folder.path("file.jpg").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

}  // namespace
