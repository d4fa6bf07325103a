// The archive reader on archives built by hand: which entry is the
// document, and which archives are refused before anything is read.
#include <gtest/gtest.h>

#include "archive/archive_document.h"
#include "archive/zip_archive.h"
#include "archive/zip_writer.h"

namespace morvane::archive {
namespace {

using test::Kml;
using test::MakeZip;
using test::ZipEntry;

// The name of the document entry that `entries` makes, or the refusal.
std::string DocumentOf(const std::vector<ZipEntry>& entries) {
    const std::string zip = MakeZip(entries);
    try {
        ZipArchive archive(MemorySource(zip));
        return FindDocument(archive).Document->Name;
    } catch (const ConversionError& refusal) {
        EXPECT_EQ(refusal.Kind(), ErrorKind::kBadArchive);
        return "refused: " + refusal.Message();
    }
}

TEST(ArchiveDocument, TheKmlModelLinkOrTheManifestNamesTheDocument) {
    // doc.kml's link wins over a .dae that comes first, and is taken from
    // the KML's folder.
    EXPECT_EQ(DocumentOf({{"first.dae", "x"}, {"doc.kml", Kml("models/m.dae")}, {"models/m.dae", "x"}}), "models/m.dae");
    EXPECT_EQ(DocumentOf({{"doc.kml", Kml("./models/../m%20b.dae")}, {"m b.dae", "x"}}), "m b.dae");
    // The first Model of several.
    EXPECT_EQ(DocumentOf({{"doc.kml", Kml("a.dae", "<Model><Link><href>b.dae</href></Link></Model>")},
                          {"b.dae", "x"},
                          {"a.dae", "x"}}),
              "a.dae");
    // Without doc.kml, the first .kml at the root, whatever its name; one
    // in a folder does not count.
    EXPECT_EQ(DocumentOf({{"sub/first.kml", Kml("a.dae")}, {"Tower.KML", Kml("b.dae")}, {"a.dae", "x"}, {"b.dae", "x"}}),
              "b.dae");
    // Without a KML, the first .dae in the archive's order, in a folder or not.
    EXPECT_EQ(DocumentOf({{"read-me.txt", "x"}, {"z/Model.DAE", "x"}, {"a.dae", "x"}}), "z/Model.DAE");
    // A KML that links no model does not stop the search.
    EXPECT_EQ(DocumentOf({{"doc.kml", "<kml><Placemark/></kml>"}, {"a.dae", "x"}}), "a.dae");
    // A .zae: manifest.xml's dae_root, relative and percent-encoded.
    EXPECT_EQ(DocumentOf({{"other.dae", "x"},
                          {"manifest.xml", "<dae_root>./scene/my%20model.dae</dae_root>"},
                          {"scene/my model.dae", "x"}}),
              "scene/my model.dae");
}

TEST(ArchiveDocument, AMissingDocumentIsRefusedWithWhatWasLookedFor) {
    EXPECT_EQ(DocumentOf({{"doc.kml", Kml("models/gone.dae")}, {"other.dae", "x"}}),
              "refused: doc.kml names models/gone.dae, which the archive does not hold");
    EXPECT_EQ(DocumentOf({{"doc.kml", Kml("../outside.dae")}, {"outside.dae", "x"}}),
              "refused: doc.kml names ../outside.dae, which the archive does not hold");
    EXPECT_EQ(DocumentOf({{"manifest.xml", "<dae_root>m.dae</dae_root>"}}),
              "refused: manifest.xml names m.dae, which the archive does not hold");
    EXPECT_EQ(DocumentOf({{"manifest.xml", "<dae_root/>"}, {"m.dae", "x"}}),
              "refused: manifest.xml names no document in <dae_root>");
    EXPECT_EQ(DocumentOf({}), "refused: zip archive without a COLLADA document (no .kml, manifest.xml or .dae entry)");
    EXPECT_EQ(DocumentOf({{"doc.kml", "<kml><Model>"}, {"a.dae", "x"}}), "refused: doc.kml is not well-formed XML");
}

TEST(ArchiveDocument, TheKmlPlacementIsKeptAsText) {
    const std::string zip = MakeZip(
        {{"doc.kml", "<kml xmlns='http://www.opengis.net/kml/2.2'><Model><altitudeMode>absolute</altitudeMode>"
                     "<Location><longitude> 7.5 </longitude><latitude>46</latitude><altitude>12</altitude></Location>"
                     "<Orientation><heading>90</heading></Orientation><Scale><x>2</x><y>2</y><z>3</z></Scale>"
                     "<Link><href>m.dae</href></Link></Model>"
                     "<Model><Orientation><tilt>5</tilt></Orientation></Model></kml>"},
         {"m.dae", "x"}});
    ZipArchive archive(MemorySource(zip));
    const std::vector<std::string> expected = {
        "KML Location: longitude=7.5 latitude=46 altitude=12 altitudeMode=absolute",
        "KML Orientation: heading=90",
        "KML Scale: x=2 y=2 z=3",
    };
    EXPECT_EQ(FindDocument(archive).Placement, expected);
}

// Why an archive is refused when opened, or "" when it is not.
std::string RefusalOf(const std::string& zip) {
    try {
        ZipArchive archive(MemorySource(zip));
        return "";
    } catch (const ConversionError& refusal) {
        EXPECT_EQ(refusal.Kind(), ErrorKind::kBadArchive);
        return refusal.Message();
    }
}

TEST(ZipArchive, EntriesThatCouldLeaveTheArchiveRefuseIt) {
    for (const std::string name : {"../evil.png", "/etc/evil.png", "a/../../evil.png", "..", "C:/evil.png",
                                   "maps\\..\\..\\evil.png"}) {
        std::string shown = name;
        std::replace(shown.begin(), shown.end(), '\\', '/');
        EXPECT_EQ(RefusalOf(MakeZip({{"m.dae", "x"}, {name, "x"}})), "zip archive entry with an unsafe name: " + shown);
    }
    // The mode bits of a link, from a system that keeps no Unix modes, mean
    // nothing; names that only look odd are fine.
    ZipEntry notALink{"maps/wood.png", "/etc/passwd"};
    notALink.Mode = 0120777;
    notALink.MadeBy = 20;
    EXPECT_EQ(RefusalOf(MakeZip({{"m.dae", "x"}, notALink, {"a..b/c...dae", "x"}, {"./x.png", "x"}})), "");
}

TEST(ZipArchive, BrokenArchivesAreRefusedWhenOpenedOrRead) {
    const std::string zip = MakeZip({{"m.dae", std::string(5000, 'a')}});
    EXPECT_EQ(RefusalOf(zip.substr(0, zip.size() - 10)), "corrupt zip archive: its directory cannot be read");
    EXPECT_EQ(RefusalOf(std::string("PK\x03\x04", 4) + std::string(100, 'x')),
              "not a readable zip archive (truncated or corrupt)");

    // Deflated bytes damaged in the middle.
    std::string damaged = zip;
    damaged[40] = static_cast<char>(damaged[40] ^ 0x55);
    damaged[41] = static_cast<char>(damaged[41] ^ 0x55);
    ZipArchive broken(MemorySource(damaged));
    std::string bytes;
    std::string reason;
    EXPECT_FALSE(broken.ReadWhole(broken.Entries()[0], 1 << 20, bytes, reason));
    EXPECT_TRUE(reason.starts_with("zip archive entry m.dae is corrupt")) << reason;
}

TEST(ZipArchive, AnEntryIsReadWholeOnlyWithinItsLimitWhateverTheDirectorySays) {
    ZipEntry honest{"big.png", std::string(1000, 'x')};
    ZipEntry lying = honest;
    lying.Size = 10;  // the directory claims 10 bytes
    const std::string zip = MakeZip({honest});
    ZipArchive archive(MemorySource(zip));
    std::string bytes;
    std::string reason;
    EXPECT_TRUE(archive.ReadWhole(archive.Entries()[0], 1000, bytes, reason));
    EXPECT_EQ(bytes.size(), 1000u);
    EXPECT_FALSE(archive.ReadWhole(archive.Entries()[0], 999, bytes, reason));
    EXPECT_EQ(reason, "it inflates to more than 999 bytes");
    const std::string lyingZip = MakeZip({lying});
    ZipArchive liar(MemorySource(lyingZip));
    EXPECT_FALSE(liar.ReadWhole(liar.Entries()[0], 100, bytes, reason));
    EXPECT_TRUE(bytes.empty());
}

TEST(ZipArchive, TensOfThousandsOfEntriesAreIndexed) {
    std::vector<ZipEntry> entries;
    for (std::size_t i = 0; i < 30000; ++i) entries.push_back({"e/" + std::to_string(i) + ".png", "", false});
    const std::string manyZip = MakeZip(entries);
    ZipArchive many(MemorySource(manyZip));
    ASSERT_EQ(many.Entries().size(), 30000u);
    EXPECT_EQ(many.Find("e/29999.png"), &many.Entries()[29999]);
    EXPECT_EQ(many.Find("e/30000.png"), nullptr);
}

}  // namespace
}  // namespace morvane::archive
