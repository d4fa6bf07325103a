// The images that the real documents of the shared corpus name: how many
// are found where named, how many by the fallbacks, and that every one
// found is either shown by browsers as it is or converted. The counts were
// taken by hand from the corpus's folders; a change in the lookup that
// finds fewer (or finds what is not there) shows here.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

#include "faithful/image_convert.h"
#include "faithful/image_paths.h"

namespace morvane::faithful {
namespace {

std::filesystem::path CorpusDirectory() {
    return std::filesystem::path(MORVANE_SOURCE_DIR).parent_path() / "shared" / "corpus";
}

// The texts of the <init_from> elements that open <image> elements, in order.
std::vector<std::string> ImageReferences(const std::filesystem::path& document) {
    std::ifstream file(document, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::string> references;
    for (std::size_t at = text.find("<image"); at != std::string::npos; at = text.find("<image", at + 1)) {
        const std::size_t open = text.find_first_not_of(" \t\r\n", text.find('>', at) + 1);
        if (open == std::string::npos || text.compare(open, 11, "<init_from>") != 0) continue;
        references.push_back(text.substr(open + 11, text.find('<', open + 11) - open - 11));
    }
    return references;
}

TEST(CorpusImages, FoundWhereNamedOrNearbyAndUsableInBrowsers) {
    if (!std::filesystem::is_directory(CorpusDirectory())) GTEST_SKIP() << "no corpus at " << CorpusDirectory();
    std::vector<std::filesystem::path> documents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusDirectory())) {
        std::string extension = entry.path().extension().string();
        std::transform(extension.begin(), extension.end(), extension.begin(), ::tolower);
        if (entry.is_regular_file() && extension == ".dae") documents.push_back(entry.path());
    }
    std::sort(documents.begin(), documents.end());

    std::map<ImageStatus, int> statuses;
    std::map<std::string, int> formats;
    int converted = 0;
    std::string missing;
    for (const auto& document : documents) {
        for (const std::string& reference : ImageReferences(document)) {
            std::filesystem::path output = document;
            output.replace_extension(".x3d");
            const ImageLocation found = LocateImage(reference, document.string(), output.string());
            ++statuses[found.Status];
            if (found.Status == ImageStatus::Missing) {
                missing += "\n  " + std::filesystem::relative(document, CorpusDirectory()).string() + ": " + reference;
            }
            if (found.Status != ImageStatus::Named && found.Status != ImageStatus::Nearby) continue;
            std::vector<unsigned char> bytes;
            std::string error;
            ASSERT_TRUE(ReadImageFile(found.File, bytes, error)) << found.File << ": " << error;
            const BrowserImage image = PrepareForBrowsers(bytes, found.File);
            if (image.Format != ImageFormat::Tiff || CanConvertToPng(ImageFormat::Tiff)) {
                EXPECT_NE(image.Result, BrowserImage::Action::Failed) << found.File << ": " << image.Png.Error;
            }
            ++formats[std::string(FormatName(image.Format))];
            if (image.Result == BrowserImage::Action::Converted) ++converted;
        }
    }
    std::cout << "images named: " << statuses[ImageStatus::Named] << " found where named, "
              << statuses[ImageStatus::Nearby] << " found nearby, " << statuses[ImageStatus::Missing]
              << " missing:" << missing << "\n";
    EXPECT_EQ(statuses[ImageStatus::Named], 191);
    EXPECT_EQ(statuses[ImageStatus::Nearby], 3);
    EXPECT_EQ(statuses[ImageStatus::Missing], 10);
    EXPECT_EQ(statuses[ImageStatus::Remote], 0);
    const std::map<std::string, int> expected = {{"JPEG", 15}, {"PNG", 168}, {"TGA", 10}, {"TIFF", 1}};
    EXPECT_EQ(formats, expected);
    EXPECT_EQ(converted, CanConvertToPng(ImageFormat::Tiff) ? 11 : 10);
}

}  // namespace
}  // namespace morvane::faithful
