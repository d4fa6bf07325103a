// The options of a conversion: what the command line sets before the first
// document. They are the only thing that one document of a batch hands to
// the next (and the size prompt may switch smoothing off for the rest of a
// batch).
#pragma once

namespace morvane {

struct ConversionOptions {
    bool WritePolygons = true;      // -sy clears: no triangles, polylists or polygons
    bool WriteLines = true;         // -sl clears: no lines
    bool WritePoints = true;        // -sp clears; nothing reads it
    bool AutoViewpoint = true;      // -sv clears: no viewpoints around the model
    bool AutoBackground = true;     // -sb clears: no Background
    bool AutoNavigation = true;     // -sn clears: no navigation line, unless EXAMINE's
    bool ExamineNavigation = true;  // -se clears: the navigation line of every mode
    bool ForceMaterials = false;    // -fm sets: a Material beside a SketchUp texture
    bool GzipOutput = false;        // -z sets: with --faithful, a gzip-compressed file
    bool ProtoLibraries = false;    // -l sets: images, appearances and meshes in libraries
    float CreaseAngle = 60.0f;      // -a: degrees
    bool SmoothMeshes = true;       // -ss clears, -fs sets: welding equal points
    bool Faithful = false;          // --faithful sets: the scene as its document describes it
};

}  // namespace morvane
