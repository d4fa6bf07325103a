// The progress marks of a whole conversion reach the conversion's sink, and
// only they: one for every 128 triangles read, one for every 128 faces
// welded, one for each mesh of the proto library and one for each node
// written below another.
#include <gtest/gtest.h>

#include "document/x3d_converter.h"
#include "test_support.h"

namespace morvane {
namespace {

const char* const kDocument = test::kNestedTriangle;

std::string Marks(bool smooth) {
    X3dConverter converter;
    converter.Options.ProtoLibraries = true;
    converter.Options.SmoothMeshes = smooth;
    MemorySink output;
    test::ProgressMarks marks;
    converter.Output = &output;
    converter.Progress = &marks;
    EXPECT_EQ(test::ParseDocument(converter, kDocument), "");
    EXPECT_NE(output.TakeText(), "");
    return marks.Text;
}

TEST(Progress, EachStepOfTheConversionMarksTheSinkInTurn) {
    // The triangle read, the face welded, the library's mesh, then nodes b
    // (inside a), a and c as each is written.
    EXPECT_EQ(Marks(true), "..!+++");
    EXPECT_EQ(Marks(false), ".!+++");
}

}  // namespace
}  // namespace morvane
