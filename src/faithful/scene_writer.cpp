#include "faithful/scene_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <numbers>
#include <optional>
#include <span>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "faithful/affine.h"
#include "faithful/effect_look.h"
#include "faithful/image_convert.h"
#include "faithful/image_paths.h"
#include "faithful/x3d_text.h"

namespace morvane::faithful {

namespace {

// Containers whose memory is counted against the document's budget.
template <class T>
using CountedVector = std::vector<T, Counted<T>>;
template <class K, class V>
using CountedMap = std::map<K, V, std::less<K>, Counted<std::pair<const K, V>>>;
template <class K, class V>
using CountedHashMap = std::unordered_map<K, V, std::hash<K>, std::equal_to<K>, Counted<std::pair<const K, V>>>;
template <class K>
using CountedHashSet = std::unordered_set<K, std::hash<K>, std::equal_to<K>, Counted<K>>;

// Nodes are written from depth 2, below the root Transform of the up axis
// and unit: a node at depth 1001 is the thousandth level of nodes.
constexpr int kMostTransformDepth = 1001;
// Large lists are handed to the output in pieces of about this size.
constexpr std::size_t kPieceBytes = std::size_t{1} << 16;

std::size_t ToSize(std::string_view text, std::size_t fallback) {
    const std::vector<double> values = ParseNumbers(text);
    if (values.empty() || !(values[0] >= 0.0) || values[0] > 4e9) return fallback;
    return static_cast<std::size_t>(values[0]);
}

struct Box {
    std::array<double, 3> Lo{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::infinity()};
    std::array<double, 3> Hi{-std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity()};

    bool Empty() const { return !(Lo[0] <= Hi[0]); }
    void Add(double x, double y, double z) {
        if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z)) return;
        const double p[3] = {x, y, z};
        for (int i = 0; i < 3; ++i) {
            Lo[i] = std::min(Lo[i], p[i]);
            Hi[i] = std::max(Hi[i], p[i]);
        }
    }
    // The box of this box's corners placed by `m`.
    void AddPlaced(const Box& box, const Matrix4& m) {
        if (box.Empty()) return;
        for (int corner = 0; corner < 8; ++corner) {
            const double p[3] = {(corner & 1) ? box.Hi[0] : box.Lo[0], (corner & 2) ? box.Hi[1] : box.Lo[1],
                                 (corner & 4) ? box.Hi[2] : box.Lo[2]};
            double q[3];
            for (int r = 0; r < 3; ++r) q[r] = m(r, 0) * p[0] + m(r, 1) * p[1] + m(r, 2) * p[2] + m(r, 3);
            Add(q[0], q[1], q[2]);
        }
    }
};

// The values of a <source> as its accessor reads them: entry i, field f is
// Data[Offset + i * Stride + Fields[f]].
struct Accessor {
    const Element* Source = nullptr;
    // The outermost morph whose blend of shapes the values are, when they
    // are one; its controller names them.
    const Element* Morph = nullptr;
    std::span<const float> Data;
    std::size_t Count = 0;
    std::size_t Stride = 1;
    std::size_t Offset = 0;
    std::vector<std::size_t> Fields;

    double Value(std::size_t entry, std::size_t field) const {
        if (field >= Fields.size()) return 0.0;
        return Data[Offset + entry * Stride + Fields[field]];
    }
};

bool ReadAccessor(const DocumentTree& tree, const Element* source, Accessor& accessor) {
    if (source == nullptr || source->Name() != "source") return false;
    const Element* common = tree.Child(*source, "technique_common");
    const Element* reader = common != nullptr ? tree.Child(*common, "accessor") : nullptr;
    // The array is found by the accessor's reference, not by its name: some
    // exporters give arrays ids that follow no pattern.
    const Element* array = reader != nullptr ? tree.FindId(reader->Attribute("source")) : nullptr;
    if (array == nullptr || array->Name() != "float_array") array = tree.Child(*source, "float_array");
    if (array == nullptr || array->Floats().empty()) return false;
    accessor.Source = source;
    accessor.Data = array->Floats();
    const std::size_t size = array->Floats().size();
    if (reader == nullptr) {
        accessor.Stride = 1;
        accessor.Offset = 0;
        accessor.Count = size;
        accessor.Fields = {0};
        return true;
    }
    accessor.Stride = std::max<std::size_t>(1, ToSize(reader->Attribute("stride"), 1));
    accessor.Offset = ToSize(reader->Attribute("offset"), 0);
    accessor.Fields.clear();
    std::size_t at = 0;
    for (const Element* param = tree.FirstChild(*reader); param != nullptr; param = tree.NextSibling(*param)) {
        if (param->Name() != "param") continue;
        // A param without a name is a gap in each entry.
        if (!param->Attribute("name").empty()) accessor.Fields.push_back(at);
        ++at;
    }
    if (at == 0) {
        for (std::size_t f = 0; f < accessor.Stride; ++f) accessor.Fields.push_back(f);
    }
    std::erase_if(accessor.Fields, [&](std::size_t f) { return f >= accessor.Stride; });
    if (accessor.Fields.empty() || accessor.Offset >= size) return false;
    const std::size_t last = *std::max_element(accessor.Fields.begin(), accessor.Fields.end());
    const std::size_t available =
        accessor.Offset + last < size ? (size - accessor.Offset - last - 1) / accessor.Stride + 1 : 0;
    accessor.Count = std::min(ToSize(reader->Attribute("count"), available), available);
    return accessor.Count > 0;
}

struct Channel {
    Accessor Values;
    std::size_t Offset = 0;
    long Set = 0;
};

struct Inputs {
    std::optional<Channel> Position;
    std::optional<Channel> Normal;
    std::optional<Channel> Colour;
    std::vector<Channel> TexCoords;
    std::size_t Stride = 1;
};

long SetOf(const Element& input) {
    const std::vector<double> values = ParseNumbers(input.Attribute("set"));
    return values.empty() ? 0 : static_cast<long>(values[0]);
}

void AddChannel(const DocumentTree& tree, Inputs& inputs, std::string_view semantic, const Element* source,
                std::size_t offset, long set) {
    Channel channel;
    if (!ReadAccessor(tree, source, channel.Values)) return;
    channel.Offset = offset;
    channel.Set = set;
    if (semantic == "POSITION") {
        if (!inputs.Position) inputs.Position = channel;
    } else if (semantic == "NORMAL") {
        if (!inputs.Normal) inputs.Normal = channel;
    } else if (semantic == "COLOR") {
        if (!inputs.Colour) inputs.Colour = channel;
    } else if (semantic == "TEXCOORD") {
        inputs.TexCoords.push_back(channel);
    }
}

Inputs ReadInputs(const DocumentTree& tree, const Element& primitive) {
    Inputs inputs;
    std::size_t most = 0;
    for (const Element* input : tree.Children(primitive, "input")) {
        const std::size_t offset = ToSize(input->Attribute("offset"), 0);
        most = std::max(most, offset);
        const std::string_view semantic = input->Attribute("semantic");
        const Element* source = tree.FindId(input->Attribute("source"));
        if (semantic == "VERTEX" && source != nullptr && source->Name() == "vertices") {
            for (const Element* shared : tree.Children(*source, "input")) {
                AddChannel(tree, inputs, shared->Attribute("semantic"), tree.FindId(shared->Attribute("source")),
                           offset, SetOf(*shared));
            }
        } else {
            AddChannel(tree, inputs, semantic, source, offset, SetOf(*input));
        }
    }
    inputs.Stride = most + 1;
    return inputs;
}

// The corners of a primitive's faces or polylines: each corner points at
// its group of indices in a <p>.
struct Faces {
    explicit Faces(MemoryBudget& budget) : Corners(&budget), Sizes(&budget) {}

    CountedVector<const std::int32_t*> Corners;
    CountedVector<std::uint32_t> Sizes;
    bool Lines = false;
};

bool IsFacePrimitive(std::string_view name) {
    return name == "triangles" || name == "polylist" || name == "polygons" || name == "tristrips" ||
           name == "trifans";
}
bool IsLinePrimitive(std::string_view name) { return name == "lines" || name == "linestrips"; }

void CollectFaces(const DocumentTree& tree, const Element& primitive, std::size_t stride, Faces& faces) {
    const std::string_view kind = primitive.Name();
    faces.Lines = IsLinePrimitive(kind);
    const auto group = [&](const Element& p, std::size_t g) { return p.Ints().data() + g * stride; };
    const auto groups = [&](const Element& p) { return p.Ints().size() / stride; };
    const auto addRun = [&](const Element& p, std::size_t size) {
        const std::size_t n = groups(p);
        for (std::size_t g = 0; g + size <= n; g += size) {
            for (std::size_t k = 0; k < size; ++k) faces.Corners.push_back(group(p, g + k));
            faces.Sizes.push_back(static_cast<std::uint32_t>(size));
        }
    };
    if (kind == "triangles" || kind == "lines") {
        for (const Element* p : tree.Children(primitive, "p")) addRun(*p, kind == "lines" ? 2 : 3);
    } else if (kind == "polylist") {
        const Element* p = tree.Child(primitive, "p");
        const Element* vcount = tree.Child(primitive, "vcount");
        if (p == nullptr || vcount == nullptr) return;
        const std::size_t n = groups(*p);
        std::size_t at = 0;
        for (const std::int32_t size : vcount->Ints()) {
            if (size < 0 || at + static_cast<std::size_t>(size) > n) break;
            for (std::int32_t k = 0; k < size; ++k) faces.Corners.push_back(group(*p, at + k));
            faces.Sizes.push_back(static_cast<std::uint32_t>(size));
            at += static_cast<std::size_t>(size);
        }
    } else if (kind == "polygons" || kind == "linestrips") {
        // A polygon with holes keeps its outline; the holes are not cut out.
        for (const Element* child = tree.FirstChild(primitive); child != nullptr; child = tree.NextSibling(*child)) {
            const Element* p = child->Name() == "p" ? child : child->Name() == "ph" ? tree.Child(*child, "p") : nullptr;
            if (p == nullptr) continue;
            const std::size_t n = groups(*p);
            for (std::size_t g = 0; g < n; ++g) faces.Corners.push_back(group(*p, g));
            faces.Sizes.push_back(static_cast<std::uint32_t>(n));
        }
    } else if (kind == "tristrips" || kind == "trifans") {
        for (const Element* p : tree.Children(primitive, "p")) {
            const std::size_t n = groups(*p);
            for (std::size_t g = 2; g < n; ++g) {
                if (kind == "trifans") {
                    faces.Corners.insert(faces.Corners.end(), {group(*p, 0), group(*p, g - 1), group(*p, g)});
                } else if (g % 2 == 0) {
                    faces.Corners.insert(faces.Corners.end(), {group(*p, g - 2), group(*p, g - 1), group(*p, g)});
                } else {
                    // Every other triangle of a strip turns the other way round.
                    faces.Corners.insert(faces.Corners.end(), {group(*p, g - 1), group(*p, g - 2), group(*p, g)});
                }
                faces.Sizes.push_back(3);
            }
        }
    }
}

// Drops the faces that are too small or that index past a list, so that
// every index list written stays in step with the coordinates.
void KeepValidFaces(Faces& faces, const std::vector<const Channel*>& channels) {
    const std::uint32_t least = faces.Lines ? 2 : 3;
    std::size_t read = 0;
    std::size_t written = 0;
    std::size_t keptFaces = 0;
    for (const std::uint32_t size : faces.Sizes) {
        bool good = size >= least;
        for (std::size_t k = 0; good && k < size; ++k) {
            const std::int32_t* corner = faces.Corners[read + k];
            for (const Channel* channel : channels) {
                const std::int32_t index = corner[channel->Offset];
                if (index < 0 || static_cast<std::size_t>(index) >= channel->Values.Count) {
                    good = false;
                    break;
                }
            }
        }
        if (good) {
            std::copy(faces.Corners.begin() + static_cast<std::ptrdiff_t>(read),
                      faces.Corners.begin() + static_cast<std::ptrdiff_t>(read + size),
                      faces.Corners.begin() + static_cast<std::ptrdiff_t>(written));
            written += size;
            faces.Sizes[keptFaces++] = size;
        }
        read += size;
    }
    faces.Corners.resize(written);
    faces.Sizes.resize(keptFaces);
}

// X3D's fieldOfView is the angle across the smaller side of the view. The
// sides' angles are related by tan(xfov / 2) = aspect * tan(yfov / 2). With
// both angles the aspect is theirs; with one angle and no aspect the view is
// taken to be square. Degrees in, radians out; a value that is not positive
// (or an angle not below 180) counts as missing; 0 for no usable angle.
double PerspectiveFieldOfView(double xfov, double yfov, double aspect) {
    const auto half = [](double degrees) {
        return degrees > 0.0 && degrees < 180.0 ? std::tan(degrees * kRadiansPerDegree / 2.0) : 0.0;
    };
    double x = half(xfov);
    double y = half(yfov);
    if (!(aspect > 0.0) || !std::isfinite(aspect)) aspect = 1.0;
    if (x == 0.0 && y == 0.0) return 0.0;
    if (y == 0.0) y = x / aspect;
    if (x == 0.0) x = y * aspect;
    return 2.0 * std::atan(std::min(x, y));
}

// The half width and half height of an orthographic view: xmag and ymag,
// the missing one from the other and the aspect (width over height), or
// equal to the other without an aspect. Values that are not positive count
// as missing; zeros when neither size is usable.
std::array<double, 2> OrthographicHalfSize(double xmag, double ymag, double aspect) {
    const auto usable = [](double value) { return value > 0.0 && std::isfinite(value); };
    if (!usable(aspect)) aspect = 1.0;
    if (!usable(xmag)) xmag = 0.0;
    if (!usable(ymag)) ymag = 0.0;
    if (xmag == 0.0) xmag = ymag * aspect;
    if (ymag == 0.0) ymag = xmag / aspect;
    return {xmag, ymag};
}

struct NodeMeasure {
    Box Bounds;  // in the frame of the node's parent
    Box Eyes;    // where the cameras are, in the same frame
    bool HasShapes = false;
};

// The length unit and up axis that a part of the document is written in:
// the nearest <asset> around it (its own included) that names each one.
struct Frame {
    double Meter = 1.0;
    std::string_view UpAxis = "Y_UP";  // "X_UP", "Y_UP" or "Z_UP"

    bool operator==(const Frame&) const = default;
    // An order for maps (spelled out: not every standard library orders
    // string_view through <=>).
    bool operator<(const Frame& other) const {
        return Meter != other.Meter ? Meter < other.Meter : UpAxis < other.UpAxis;
    }
};

// Carries points written in frame `inner` into frame `outer`. Up-axis turns
// are whole quarter turns, so the turn part is exact.
Matrix4 Between(const Frame& outer, const Frame& inner) {
    const double ratio = inner.Meter / outer.Meter;
    return Transposed(UpAxisMatrix(outer.UpAxis)) * UpAxisMatrix(inner.UpAxis) * ScaleMatrix(ratio, ratio, ratio);
}

// What an instance of a controller shows: the geometry that its
// controllers deform, placed in the instancing frame (bind shape included),
// and the morphs met on the way, outermost first.
struct Deformed {
    const Element* Geometry = nullptr;
    Matrix4 Placement;
    std::vector<const Element*> Morphs;
};

class SceneWriter {
public:
    SceneWriter(const DocumentTree& tree, const SceneSettings& settings, std::vector<ConversionError>& warnings)
        : tree_(tree),
          settings_(settings),
          options_(settings.Options),
          warnings_(warnings),
          names_(&tree.Budget()),
          assets_(&tree.Budget()),
          shared_(&tree.Budget()),
          measured_(&tree.Budget()),
          sourceBoxes_(&tree.Budget()),
          morphed_(&tree.Budget()),
          open_(&tree.Budget()),
          writtenNodes_(&tree.Budget()),
          writtenSources_(&tree.Budget()),
          writtenGeometry_(&tree.Budget()),
          writtenAppearances_(&tree.Budget()),
          looks_(&tree.Budget()),
          imageUrls_(&tree.Budget()),
          warnedCycles_(&tree.Budget()) {}

    void Write(OutputSink& sink, std::uint64_t limit);

private:
    // Binding.
    const Element* VisualScene() const;
    void FindSharedNodes();
    Frame FrameOf(const Element& element, Frame outer);
    Matrix4 PlacementIn(const Frame& frame, const Element& element) { return Between(frame, FrameOf(element, frame)); }
    Frame ApplyAsset(const Element& element, Frame frame);
    Matrix4 NodeMatrix(const Element& node) const;
    const Element* InstanceTarget(const Element& instance) const;
    Deformed Deform(const Element& instance, const Frame& frame);
    void ApplyMorphs(std::span<const Element* const> morphs, Inputs& inputs);
    void BlendMorph(const Element& morph, CountedVector<float>& blend) const;
    const Element* BoundMaterial(const Element* instance, std::string_view symbol) const;
    bool PrimitiveWanted(const Element& primitive) const {
        return (IsFacePrimitive(primitive.Name()) && options_.WritePolygons) ||
               (IsLinePrimitive(primitive.Name()) && options_.WriteLines);
    }

    // Measuring: the world box and whether anything is drawn.
    NodeMeasure MeasureNode(const Element& node, const Frame& outer, int depth);
    void MeasureContents(const Element& holder, const Frame& frame, NodeMeasure& measure, int depth);
    void MeasureGeometry(const Element& geometry, const Matrix4& placement, NodeMeasure& measure,
                         std::span<const Element* const> morphs = {});

    // Writing.
    void Put(std::string_view text);
    void PutPending();
    void Indent(int depth);
    void WriteHead();
    void WriteViewpoints(const Box& world, const Box& eyes);
    void WriteNode(const Element& node, const Frame& outer, int depth);
    void WriteTransformFields(const TransformFields& fields);
    void WriteContents(const Element& holder, const Frame& frame, int depth);
    void WritePlaced(const Matrix4& placement, int depth, const std::function<void(int)>& write);
    void WriteGeometry(const Element& geometry, const Element* instance, int depth,
                       std::span<const Element* const> morphs = {});
    void WritePrimitive(const Element& geometry, const Element& primitive, const Element* instance, int depth,
                        std::span<const Element* const> morphs);
    void WriteAppearance(const Element* material, bool lines, int depth);
    void WriteCamera(const Element& camera, int depth);
    void WriteLight(const Element& light, int depth);
    void WriteData(std::string_view node, std::string_view field, const Accessor& values, std::size_t fields,
                   int depth);
    void WriteIndexField(std::string_view field, const Faces& faces, std::size_t offset);
    std::string ImageUrl(const Element& image);
    const EffectLook& LookOf(const Element* material);
    void Warn(ErrorKind kind, const std::string& message) { warnings_.emplace_back(kind, message); }

    const DocumentTree& tree_;
    const SceneSettings& settings_;
    const ConversionOptions& options_;
    std::vector<ConversionError>& warnings_;
    TextOutput* out_ = nullptr;
    std::string pending_;
    DefNames names_;

    // The frame of the document's own asset, where the libraries are.
    Frame documentFrame_;
    // What follows grows with the document, and is counted against the
    // tree's memory budget.
    CountedHashMap<const Element*, const Element*> assets_;
    // The nodes that an instance_node names, and the nodes below them: the
    // only ones that may be placed more than once in one frame.
    CountedHashSet<const Element*> shared_;
    // A shared node is measured and written once for each frame it is
    // placed in.
    CountedMap<std::pair<const Element*, Frame>, NodeMeasure> measured_;
    // Keyed by source and morph.
    CountedMap<std::pair<const Element*, const Element*>, Box> sourceBoxes_;
    CountedMap<std::pair<const Element*, const Element*>, CountedVector<float>> morphed_;
    CountedHashSet<const Element*> open_;
    CountedMap<std::pair<const Element*, Frame>, std::string> writtenNodes_;
    CountedMap<std::pair<const Element*, const Element*>, std::string> writtenSources_;
    CountedMap<std::tuple<const Element*, std::size_t, bool, const Element*>, std::string> writtenGeometry_;
    CountedMap<std::pair<const Element*, bool>, std::string> writtenAppearances_;
    CountedHashMap<const Element*, EffectLook> looks_;
    CountedHashMap<const Element*, std::string> imageUrls_;
    std::unordered_map<std::string, std::string> convertedFiles_;
    CountedHashSet<const Element*> warnedCycles_;
    // Whether an orthographic camera is placed: OrthoViewpoint then needs
    // a component beyond the profile.
    bool orthographic_ = false;
};

// ---- binding ----

const Element* SceneWriter::VisualScene() const {
    const Element& root = *tree_.Root();
    const Element* scene = nullptr;
    if (const Element* sceneElement = tree_.Child(root, "scene")) {
        if (const Element* instance = tree_.Child(*sceneElement, "instance_visual_scene")) {
            scene = tree_.FindId(instance->Attribute("url"));
            if (scene != nullptr && scene->Name() != "visual_scene") scene = nullptr;
        }
    }
    if (scene == nullptr) {
        if (const Element* library = tree_.Child(root, "library_visual_scenes")) {
            scene = tree_.Child(*library, "visual_scene");
        }
    }
    return scene;
}

// The element's own <asset> overrides what it names of `frame`.
Frame SceneWriter::ApplyAsset(const Element& element, Frame frame) {
    // A node's children are walked on each of its few visits anyway; other
    // elements (a library, a geometry instanced many times) remember theirs.
    const Element* asset = nullptr;
    if (element.Name() == "node") {
        asset = tree_.Child(element, "asset");
    } else {
        auto [at, fresh] = assets_.try_emplace(&element, nullptr);
        if (fresh) at->second = tree_.Child(element, "asset");
        asset = at->second;
    }
    if (asset == nullptr) return frame;
    if (const Element* unit = tree_.Child(*asset, "unit")) {
        const std::vector<double> values = ParseNumbers(unit->Attribute("meter"));
        if (!values.empty() && values[0] > 0.0 && std::isfinite(values[0])) frame.Meter = values[0];
    }
    if (const Element* up = tree_.Child(*asset, "up_axis")) {
        const std::string_view text = Trim(up->Text());
        frame.UpAxis = text == "Z_UP" ? "Z_UP" : text == "X_UP" ? "X_UP" : "Y_UP";
    }
    return frame;
}

// The frame of a node, visual scene, geometry, controller, camera or light
// placed where the frame is `outer`. An asset applies to what is written
// inside its element: an element of a library is in the frame of the
// document and its library, wherever it is instanced; a node inside a node
// is in its parent's frame (`outer`); its own asset overrides either.
Frame SceneWriter::FrameOf(const Element& element, Frame outer) {
    const Element* parent = tree_.Parent(element);
    if (parent != nullptr && parent->Name().starts_with("library_")) outer = ApplyAsset(*parent, documentFrame_);
    return ApplyAsset(element, outer);
}

Matrix4 SceneWriter::NodeMatrix(const Element& node) const {
    Matrix4 matrix;
    for (const Element* child = tree_.FirstChild(node); child != nullptr; child = tree_.NextSibling(*child)) {
        const std::string_view name = child->Name();
        TransformKind kind;
        if (name == "matrix") {
            kind = TransformKind::Matrix;
        } else if (name == "translate") {
            kind = TransformKind::Translate;
        } else if (name == "rotate") {
            kind = TransformKind::Rotate;
        } else if (name == "scale") {
            kind = TransformKind::Scale;
        } else if (name == "lookat") {
            kind = TransformKind::LookAt;
        } else if (name == "skew") {
            kind = TransformKind::Skew;
        } else {
            continue;
        }
        const std::vector<double> values = ParseNumbers(child->Text());
        matrix = matrix * TransformElement(kind, values);
    }
    return matrix;
}

void SceneWriter::FindSharedNodes() {
    std::vector<bool> shared(tree_.Size());
    for (std::uint32_t i = 0; i < tree_.Size(); ++i) {
        const Element& element = *tree_.At(i);
        if (element.Name() != "instance_node") continue;
        const std::uint32_t target = tree_.FindIdIndex(element.Attribute("url"));
        if (target != kNoElement && tree_.At(target)->Name() == "node") shared[target] = true;
    }
    // A parent comes before its children.
    for (std::uint32_t i = 0; i < tree_.Size(); ++i) {
        const Element& element = *tree_.At(i);
        if (element.Parent != kNoElement && shared[element.Parent]) shared[i] = true;
        if (shared[i] && element.Name() == "node") shared_.insert(&element);
    }
}

const Element* SceneWriter::InstanceTarget(const Element& instance) const {
    return tree_.FindId(instance.Attribute("url"));
}

// Follows the instance's controller through skins and morphs to the
// geometry. The bind shape matrices are in the frame of the instanced
// controller; the geometry's points in the geometry's own.
Deformed SceneWriter::Deform(const Element& instance, const Frame& frame) {
    Deformed deformed;
    const Element* controller = InstanceTarget(instance);
    if (controller == nullptr || controller->Name() != "controller") return deformed;
    const Frame controllerFrame = FrameOf(*controller, frame);
    Matrix4 bindShape;
    for (int step = 0; step < 16 && controller != nullptr; ++step) {
        if (controller->Name() == "geometry") {
            deformed.Geometry = controller;
            deformed.Placement = Between(frame, controllerFrame) * bindShape * PlacementIn(controllerFrame, *controller);
            return deformed;
        }
        if (controller->Name() != "controller") break;
        const Element* skin = tree_.Child(*controller, "skin");
        const Element* morph = tree_.Child(*controller, "morph");
        if (skin != nullptr) {
            if (const Element* bind = tree_.Child(*skin, "bind_shape_matrix")) {
                bindShape = TransformElement(TransformKind::Matrix, ParseNumbers(bind->Text())) * bindShape;
            }
            controller = tree_.FindId(skin->Attribute("source"));
        } else if (morph != nullptr) {
            deformed.Morphs.push_back(morph);
            controller = tree_.FindId(morph->Attribute("source"));
        } else {
            break;
        }
    }
    return Deformed();
}

// The positions of a geometry that morphs blend with their targets, as the
// instance shows them: from the innermost morph out, each one's base shape
// plus each target's weighted difference from it (NORMALIZED), or plus each
// weighted target (RELATIVE, whose targets are offsets). Where a target has
// fewer points than the base, or none, the base's points stay as they are.
void SceneWriter::ApplyMorphs(std::span<const Element* const> morphs, Inputs& inputs) {
    if (morphs.empty() || !inputs.Position) return;
    Accessor& positions = inputs.Position->Values;
    auto [at, fresh] = morphed_.try_emplace(std::make_pair(positions.Source, morphs.front()), &tree_.Budget());
    CountedVector<float>& blend = at->second;
    if (fresh) {
        blend.resize(positions.Count * 3);
        for (std::size_t i = 0; i < positions.Count; ++i) {
            for (std::size_t f = 0; f < 3; ++f) blend[i * 3 + f] = static_cast<float>(positions.Value(i, f));
        }
        for (auto morph = morphs.rbegin(); morph != morphs.rend(); ++morph) BlendMorph(**morph, blend);
    }
    positions.Data = blend;
    positions.Offset = 0;
    positions.Stride = 3;
    positions.Fields = {0, 1, 2};
    positions.Morph = morphs.front();
}

void SceneWriter::BlendMorph(const Element& morph, CountedVector<float>& blend) const {
    const Element* targets = tree_.Child(morph, "targets");
    if (targets == nullptr) return;
    std::vector<std::string_view> names;
    Accessor weights;
    for (const Element* input : tree_.Children(*targets, "input")) {
        const Element* source = tree_.FindId(input->Attribute("source"));
        if (input->Attribute("semantic") == "MORPH_WEIGHT") {
            if (!ReadAccessor(tree_, source, weights)) weights = Accessor();
        } else if (input->Attribute("semantic") == "MORPH_TARGET" && source != nullptr) {
            names = Words(tree_.TextAt(*source, {"IDREF_array"}));
        }
    }
    const bool relative = Trim(morph.Attribute("method")) == "RELATIVE";
    const CountedVector<float> base = blend;
    const std::size_t points = base.size() / 3;
    for (std::size_t t = 0; t < names.size() && t < weights.Count; ++t) {
        const double weight = weights.Value(t, 0);
        const Element* target = tree_.FindId(names[t]);
        const Element* mesh = target != nullptr && target->Name() == "geometry" ? tree_.Child(*target, "mesh") : nullptr;
        const Element* vertices = mesh != nullptr ? tree_.Child(*mesh, "vertices") : nullptr;
        if (vertices == nullptr || weight == 0.0) continue;
        Accessor shape;
        for (const Element* input : tree_.Children(*vertices, "input")) {
            if (input->Attribute("semantic") == "POSITION") {
                ReadAccessor(tree_, tree_.FindId(input->Attribute("source")), shape);
                break;
            }
        }
        for (std::size_t i = 0; i < std::min(shape.Count, points); ++i) {
            for (std::size_t f = 0; f < 3; ++f) {
                const double offset = relative ? shape.Value(i, f) : shape.Value(i, f) - base[i * 3 + f];
                blend[i * 3 + f] = static_cast<float>(blend[i * 3 + f] + weight * offset);
            }
        }
    }
}

const Element* SceneWriter::BoundMaterial(const Element* instance, std::string_view symbol) const {
    if (instance != nullptr) {
        if (const Element* binding = tree_.Child(*instance, "bind_material")) {
            if (const Element* common = tree_.Child(*binding, "technique_common")) {
                for (const Element* material : tree_.Children(*common, "instance_material")) {
                    if (material->Attribute("symbol") == symbol) {
                        const Element* target = tree_.FindId(material->Attribute("target"));
                        if (target != nullptr && target->Name() == "material") return target;
                    }
                }
            }
        }
    }
    // Some exporters name the material itself where a symbol belongs.
    const Element* direct = symbol.empty() ? nullptr : tree_.FindId(symbol);
    return direct != nullptr && direct->Name() == "material" ? direct : nullptr;
}

// ---- measuring ----

NodeMeasure SceneWriter::MeasureNode(const Element& node, const Frame& outer, int depth) {
    if (depth > kMostTransformDepth) throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
    const bool shared = shared_.contains(&node);
    const auto key = std::make_pair(&node, outer);
    if (const auto found = shared ? measured_.find(key) : measured_.end(); found != measured_.end()) {
        return found->second;
    }
    NodeMeasure inner;
    open_.insert(&node);
    const Frame own = FrameOf(node, outer);
    MeasureContents(node, own, inner, depth);
    open_.erase(&node);
    NodeMeasure placed;
    placed.HasShapes = inner.HasShapes;
    const Matrix4 placement = Between(outer, own) * NodeMatrix(node);
    placed.Bounds.AddPlaced(inner.Bounds, placement);
    placed.Eyes.AddPlaced(inner.Eyes, placement);
    if (shared) measured_.emplace(key, placed);
    return placed;
}

void SceneWriter::MeasureContents(const Element& holder, const Frame& frame, NodeMeasure& measure, int depth) {
    for (const Element* child = tree_.FirstChild(holder); child != nullptr; child = tree_.NextSibling(*child)) {
        const Element* target = nullptr;
        if (child->Name() == "node") {
            target = child;
        } else if (child->Name() == "instance_node") {
            target = InstanceTarget(*child);
            if (target == nullptr || target->Name() != "node" || open_.contains(target)) continue;
        } else if (child->Name() == "instance_geometry") {
            const Element* geometry = InstanceTarget(*child);
            if (geometry != nullptr && geometry->Name() == "geometry") {
                MeasureGeometry(*geometry, PlacementIn(frame, *geometry), measure);
            }
            continue;
        } else if (child->Name() == "instance_controller") {
            const Deformed deformed = Deform(*child, frame);
            if (deformed.Geometry != nullptr) {
                MeasureGeometry(*deformed.Geometry, deformed.Placement, measure, deformed.Morphs);
            }
            continue;
        } else if (child->Name() == "instance_camera") {
            const Element* camera = InstanceTarget(*child);
            const Element* optics = camera != nullptr && camera->Name() == "camera" ? tree_.Child(*camera, "optics") : nullptr;
            const Element* common = optics != nullptr ? tree_.Child(*optics, "technique_common") : nullptr;
            if (common != nullptr && tree_.Child(*common, "orthographic") != nullptr) orthographic_ = true;
            if (camera != nullptr && camera->Name() == "camera") measure.Eyes.Add(0, 0, 0);
            continue;
        } else {
            continue;
        }
        const NodeMeasure inner = MeasureNode(*target, frame, depth + 1);
        measure.HasShapes = measure.HasShapes || inner.HasShapes;
        measure.Bounds.AddPlaced(inner.Bounds, Matrix4());
        measure.Eyes.AddPlaced(inner.Eyes, Matrix4());
    }
}

void SceneWriter::MeasureGeometry(const Element& geometry, const Matrix4& placement, NodeMeasure& measure,
                                  std::span<const Element* const> morphs) {
    const Element* mesh = tree_.Child(geometry, "mesh");
    if (mesh == nullptr) return;
    for (const Element* primitive = tree_.FirstChild(*mesh); primitive != nullptr;
         primitive = tree_.NextSibling(*primitive)) {
        if (!PrimitiveWanted(*primitive)) continue;
        Inputs inputs = ReadInputs(tree_, *primitive);
        if (!inputs.Position) continue;
        ApplyMorphs(morphs, inputs);
        Faces faces(tree_.Budget());
        CollectFaces(tree_, *primitive, inputs.Stride, faces);
        KeepValidFaces(faces, {&*inputs.Position});
        if (faces.Sizes.empty()) continue;
        measure.HasShapes = true;
        const Accessor& points = inputs.Position->Values;
        auto [at, fresh] = sourceBoxes_.try_emplace(std::make_pair(points.Source, points.Morph));
        if (fresh) {
            for (std::size_t i = 0; i < points.Count; ++i) {
                at->second.Add(points.Value(i, 0), points.Value(i, 1), points.Value(i, 2));
            }
        }
        measure.Bounds.AddPlaced(at->second, placement);
    }
}

// ---- writing ----

void SceneWriter::Put(std::string_view text) { out_->Put(text); }

void SceneWriter::PutPending() {
    out_->Put(pending_);
    pending_.clear();
}

void SceneWriter::Indent(int depth) { pending_.append(static_cast<std::size_t>(std::min(depth, 64)), '\t'); }

void AppendAttribute(std::string& out, std::string_view name, std::string_view value) {
    out += ' ';
    out += name;
    out += "='";
    AppendAttributeText(out, value);
    out += '\'';
}

void AppendNumbersAttribute(std::string& out, std::string_view name, std::span<const double> values) {
    out += ' ';
    out += name;
    out += "='";
    AppendNumbers(out, values);
    out += '\'';
}

void SceneWriter::WriteHead() {
    std::vector<std::pair<std::string_view, std::string_view>> entries;
    if (const Element* asset = tree_.Child(*tree_.Root(), "asset")) {
        for (const Element* contributor : tree_.Children(*asset, "contributor")) {
            for (std::string_view name : {"author", "authoring_tool", "comments", "copyright", "source_data"}) {
                const std::string_view text = Trim(tree_.TextAt(*contributor, {name}));
                if (!text.empty()) entries.emplace_back(name, text);
            }
        }
        for (std::string_view name : {"title", "subject", "keywords", "created", "modified", "revision"}) {
            const std::string_view text = Trim(tree_.TextAt(*asset, {name}));
            if (!text.empty()) entries.emplace_back(name, text);
        }
    }
    if (entries.empty() && !orthographic_) return;
    pending_ += "<head>\n";
    // The Immersive profile has Navigation up to level 2; OrthoViewpoint is level 3.
    if (orthographic_) pending_ += "\t<component name='Navigation' level='3'/>\n";
    for (const auto& [name, text] : entries) {
        pending_ += "\t<meta";
        AppendAttribute(pending_, "name", name);
        AppendAttribute(pending_, "content", text);
        pending_ += "/>\n";
    }
    pending_ += "</head>\n";
    PutPending();
}

// The output's file name without its folder and extension.
std::string OutputBaseName(std::string_view name) {
    if (const std::size_t slash = name.rfind('/'); slash != std::string_view::npos) name.remove_prefix(slash + 1);
    if (const std::size_t dot = name.rfind('.'); dot != std::string_view::npos && dot > 0) {
        name = name.substr(0, dot);
    }
    return std::string(name);
}

// The automatic view listed first, and so bound at load: the front one,
// unless the model seen from the front shows less than a tenth of its
// largest side (a flat or long model seen edge-on or end-on); then the one
// that faces its largest side, the side's view before the top's on a tie.
// Sizes below a thousandth of the largest count as that much, so that a
// line's views are told apart too.
int FirstView(const double size[3]) {
    const double largest = std::max({size[0], size[1], size[2]});
    if (!(largest > 0.0) || !std::isfinite(largest)) return 0;
    double s[3];
    for (int i = 0; i < 3; ++i) s[i] = std::max(size[i], largest * 1e-3);
    const double front = s[0] * s[1];
    const double side = s[2] * s[1];
    const double top = s[0] * s[2];
    if (front >= 0.1 * std::max(side, top)) return 0;
    return side >= top ? 1 : 2;
}

// Near and far planes scaled to the scene: browsers put the near plane at
// half the avatar's width and the far one at the visibility limit. The far
// limit is a hundred times the diagonal of the model and the document's
// cameras. The default avatar (a near plane at 0.125, eyes at 1.6) suits a
// model of a metre or more, walked through at a person's height, and is
// kept there; a smaller model gets a near plane of a tenth of its
// diagonal, so that the views of it, about one and a half sizes away, and
// closer looks stay clear of it. The near plane is raised if need be to keep
// far over near within a million (the depth buffer's reach); a scaled
// avatar keeps the usual proportions. Nothing for a model without extent.
void AppendViewLimits(std::string& out, const Box& model, const Box& eyes) {
    if (model.Empty()) return;
    Box all = model;
    all.AddPlaced(eyes, Matrix4());
    const auto diagonal = [](const Box& box) {
        const double d[3] = {box.Hi[0] - box.Lo[0], box.Hi[1] - box.Lo[1], box.Hi[2] - box.Lo[2]};
        return std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    };
    const double size = diagonal(model);
    if (!(size > 0.0) || !std::isfinite(size)) return;
    const double far = 100.0 * diagonal(all);
    if (!std::isfinite(far)) return;
    constexpr double kDefaultNear = 0.125;
    const double near = std::max(std::min(kDefaultNear, size / 10.0), far / 1e6);
    if (near != kDefaultNear) {
        // The default avatar: 0.25 wide, 1.6 high, steps of 0.75.
        const double avatar[3] = {2.0 * near, 2.0 * near * 6.4, 2.0 * near * 3.0};
        AppendNumbersAttribute(out, "avatarSize", avatar);
    }
    out += " visibilityLimit='";
    AppendNumber(out, far);
    out += '\'';
}

void SceneWriter::WriteViewpoints(const Box& world, const Box& eyes) {
    double size[3] = {0, 0, 0};
    double centre[3] = {0, 0, 0};
    Box box = world;
    if (box.Empty()) box.Add(0, 0, 0);
    for (int i = 0; i < 3; ++i) {
        size[i] = box.Hi[i] - box.Lo[i];
        centre[i] = box.Lo[i] + size[i] * 0.5;
    }
    if (options_.AutoViewpoint) {
        const double front = 1.5 * std::max(size[0], size[1]);
        const double side = 1.5 * std::max(size[2], size[1]);
        const double top = 1.5 * std::max(size[0], size[2]);
        struct View {
            const char* Name;
            double X, Y, Z;
            AxisAngle Orientation;
        };
        const double quarter = std::numbers::pi / 2;
        View views[6] = {
            {"Front", centre[0], centre[1], box.Hi[2] + front, {0, 0, 1, 0}},
            {"Left", box.Hi[0] + side, centre[1], centre[2], {0, 1, 0, quarter}},
            {"Top", centre[0], box.Hi[1] + top, centre[2], {-1, 0, 0, quarter}},
            {"Back", centre[0], centre[1], box.Lo[2] - front, {0, 1, 0, std::numbers::pi}},
            {"Right", box.Lo[0] - side, centre[1], centre[2], {0, -1, 0, quarter}},
            {"Bottom", centre[0], box.Lo[1] - top, centre[2], {1, 0, 0, quarter}},
        };
        const int first = FirstView(size);
        std::rotate(views, views + first, views + first + 1);
        const std::string base = OutputBaseName(settings_.OutputName);
        for (const View& view : views) {
            const std::string title = base + " " + view.Name;
            pending_ += "\t<Viewpoint";
            AppendAttribute(pending_, "DEF", names_.Give(title));
            AppendAttribute(pending_, "description", title + " View");
            const double position[3] = {view.X, view.Y, view.Z};
            AppendNumbersAttribute(pending_, "position", position);
            if (view.Orientation.Angle != 0.0) {
                pending_ += " orientation='";
                AppendRotation(pending_, view.Orientation);
                pending_ += '\'';
            }
            AppendNumbersAttribute(pending_, "centerOfRotation", centre);
            pending_ += "/>\n";
        }
    }
    if (options_.ExamineNavigation) {
        pending_ += "\t<NavigationInfo type='";
        const std::string types[] = {"EXAMINE", "LOOKAT"};
        AppendMFString(pending_, types);
        pending_ += '\'';
        AppendViewLimits(pending_, world, eyes);
        pending_ += "/>\n";
    } else if (options_.AutoNavigation) {
        pending_ += "\t<NavigationInfo type='";
        const std::string types[] = {"WALK", "FLY", "EXAMINE", "LOOKAT"};
        AppendMFString(pending_, types);
        pending_ += "' speed='";
        AppendNumber(pending_, std::max({size[0], size[1], size[2]}) * 0.125);
        pending_ += '\'';
        AppendViewLimits(pending_, world, eyes);
        pending_ += "/>\n";
    }
    PutPending();
}

void SceneWriter::WriteTransformFields(const TransformFields& fields) {
    if (fields.Translation != std::array<double, 3>{0, 0, 0}) {
        AppendNumbersAttribute(pending_, "translation", fields.Translation);
    }
    if (fields.Rotation.Angle != 0.0) {
        pending_ += " rotation='";
        AppendRotation(pending_, fields.Rotation);
        pending_ += '\'';
    }
    if (fields.Scale != std::array<double, 3>{1, 1, 1}) {
        AppendNumbersAttribute(pending_, "scale", fields.Scale);
        if (fields.ScaleOrientation.Angle != 0.0) {
            pending_ += " scaleOrientation='";
            AppendRotation(pending_, fields.ScaleOrientation);
            pending_ += '\'';
        }
    }
}

// A node's own unit and up axis also apply to its transform elements: the
// turn and scale between the frames come before (outside) the node's matrix.
void SceneWriter::WriteNode(const Element& node, const Frame& outer, int depth) {
    if (depth > kMostTransformDepth) throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
    Indent(depth);
    const auto key = std::make_pair(&node, outer);
    if (const auto found = writtenNodes_.find(key); found != writtenNodes_.end()) {
        pending_ += "<Transform";
        AppendAttribute(pending_, "USE", found->second);
        pending_ += "/>\n";
        PutPending();
        return;
    }
    pending_ += "<Transform";
    std::string_view wanted = node.Attribute("id");
    if (!wanted.empty()) {
        const std::string name = names_.Give(wanted);
        AppendAttribute(pending_, "DEF", name);
        if (shared_.contains(&node)) writtenNodes_.emplace(key, name);
    }
    const Frame own = FrameOf(node, outer);
    WriteTransformFields(Decompose(Between(outer, own) * NodeMatrix(node)));
    pending_ += ">\n";
    PutPending();
    open_.insert(&node);
    WriteContents(node, own, depth + 1);
    open_.erase(&node);
    Indent(depth);
    pending_ += "</Transform>\n";
    PutPending();
}

void SceneWriter::WriteContents(const Element& holder, const Frame& frame, int depth) {
    for (const Element* child = tree_.FirstChild(holder); child != nullptr; child = tree_.NextSibling(*child)) {
        const std::string_view name = child->Name();
        if (name == "node") {
            WriteNode(*child, frame, depth);
        } else if (name == "instance_node") {
            const Element* target = InstanceTarget(*child);
            if (target == nullptr || target->Name() != "node") continue;
            if (open_.contains(target)) {
                if (warnedCycles_.insert(child).second) {
                    Warn(ErrorKind::kTooDeep, "instance_node " + std::string(child->Attribute("url")) +
                                                  " left out: it would instance one of its own ancestors");
                }
                continue;
            }
            WriteNode(*target, frame, depth);
        } else if (name == "instance_geometry") {
            const Element* geometry = InstanceTarget(*child);
            if (geometry != nullptr && geometry->Name() == "geometry") {
                WritePlaced(PlacementIn(frame, *geometry), depth, [&](int at) { WriteGeometry(*geometry, child, at); });
            }
        } else if (name == "instance_controller") {
            const Deformed deformed = Deform(*child, frame);
            if (deformed.Geometry != nullptr) {
                WritePlaced(deformed.Placement, depth,
                            [&](int at) { WriteGeometry(*deformed.Geometry, child, at, deformed.Morphs); });
            }
        } else if (name == "instance_camera") {
            const Element* camera = InstanceTarget(*child);
            if (camera != nullptr && camera->Name() == "camera") {
                WritePlaced(PlacementIn(frame, *camera), depth, [&](int at) { WriteCamera(*camera, at); });
            }
        } else if (name == "instance_light") {
            const Element* light = InstanceTarget(*child);
            if (light != nullptr && light->Name() == "light") {
                WritePlaced(PlacementIn(frame, *light), depth, [&](int at) { WriteLight(*light, at); });
            }
        }
    }
}

// What `write` writes at a depth, inside a Transform of `placement`, or bare
// when it places nothing.
void SceneWriter::WritePlaced(const Matrix4& placement, int depth, const std::function<void(int)>& write) {
    const TransformFields fields = Decompose(placement);
    const bool placed = fields.Translation != std::array<double, 3>{0, 0, 0} || fields.Rotation.Angle != 0.0 ||
                        fields.Scale != std::array<double, 3>{1, 1, 1};
    if (!placed) {
        write(depth);
        return;
    }
    if (depth + 1 > kMostTransformDepth) throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
    Indent(depth);
    pending_ += "<Transform";
    WriteTransformFields(fields);
    pending_ += ">\n";
    PutPending();
    write(depth + 1);
    Indent(depth);
    pending_ += "</Transform>\n";
    PutPending();
}

void SceneWriter::WriteGeometry(const Element& geometry, const Element* instance, int depth,
                                std::span<const Element* const> morphs) {
    const Element* mesh = tree_.Child(geometry, "mesh");
    if (mesh == nullptr) return;
    for (const Element* primitive = tree_.FirstChild(*mesh); primitive != nullptr;
         primitive = tree_.NextSibling(*primitive)) {
        if (PrimitiveWanted(*primitive)) WritePrimitive(geometry, *primitive, instance, depth, morphs);
    }
}

const EffectLook& SceneWriter::LookOf(const Element* material) {
    auto [at, fresh] = looks_.try_emplace(material);
    if (fresh && material != nullptr) at->second = ReadMaterial(tree_, *material);
    return at->second;
}

void SceneWriter::WritePrimitive(const Element& geometry, const Element& primitive, const Element* instance,
                                 int depth, std::span<const Element* const> morphs) {
    Inputs inputs = ReadInputs(tree_, primitive);
    if (!inputs.Position) return;
    ApplyMorphs(morphs, inputs);
    const Element* material = BoundMaterial(instance, primitive.Attribute("material"));
    const EffectLook& look = LookOf(material);
    const bool lines = IsLinePrimitive(primitive.Name());

    // The texture coordinates of the set that the material binds, else the
    // first set.
    const Channel* texCoords = nullptr;
    std::size_t texCoordChoice = 0;
    if (!lines && look.Image != nullptr && !inputs.TexCoords.empty()) {
        std::optional<long> wanted;
        if (const Element* binding = instance != nullptr ? tree_.Child(*instance, "bind_material") : nullptr) {
            if (const Element* common = tree_.Child(*binding, "technique_common")) {
                for (const Element* bound : tree_.Children(*common, "instance_material")) {
                    if (bound->Attribute("symbol") != primitive.Attribute("material")) continue;
                    for (const Element* input : tree_.Children(*bound, "bind_vertex_input")) {
                        if (input->Attribute("semantic") == look.TexCoord) {
                            wanted = static_cast<long>(ToSize(input->Attribute("input_set"), 0));
                        }
                    }
                }
            }
        }
        texCoordChoice = 0;
        for (std::size_t i = 0; wanted && i < inputs.TexCoords.size(); ++i) {
            if (inputs.TexCoords[i].Set == *wanted) {
                texCoordChoice = i;
                break;
            }
        }
        texCoords = &inputs.TexCoords[texCoordChoice];
        ++texCoordChoice;
    }
    const Channel* normals = !lines && inputs.Normal ? &*inputs.Normal : nullptr;
    const Channel* colours = inputs.Colour ? &*inputs.Colour : nullptr;

    std::vector<const Channel*> channels{&*inputs.Position};
    for (const Channel* channel : {normals, texCoords, colours}) {
        if (channel != nullptr) channels.push_back(channel);
    }
    Faces faces(tree_.Budget());
    CollectFaces(tree_, primitive, inputs.Stride, faces);
    KeepValidFaces(faces, channels);
    if (faces.Sizes.empty()) return;

    Indent(depth);
    pending_ += "<Shape>\n";
    PutPending();
    WriteAppearance(material, lines, depth + 1);

    const bool solid = !look.DoubleSided;
    const auto key = std::make_tuple(&primitive, texCoordChoice, solid, inputs.Position->Values.Morph);
    const std::string_view node = lines ? "IndexedLineSet" : "IndexedFaceSet";
    Indent(depth + 1);
    if (const auto found = writtenGeometry_.find(key); found != writtenGeometry_.end()) {
        pending_ += '<';
        pending_ += node;
        AppendAttribute(pending_, "USE", found->second);
        pending_ += "/>\n";
    } else {
        pending_ += '<';
        pending_ += node;
        std::string wanted(geometry.Attribute("id"));
        if (wanted.empty()) wanted = "geometry";
        const std::string name = names_.Give(wanted + "_" + std::string(primitive.Name()));
        writtenGeometry_.emplace(key, name);
        AppendAttribute(pending_, "DEF", name);
        if (!lines) {
            pending_ += solid ? " solid='true'" : " solid='false'";
            const bool convex = std::all_of(faces.Sizes.begin(), faces.Sizes.end(), [](auto n) { return n == 3; });
            if (!convex) pending_ += " convex='false'";
            if (normals == nullptr) {
                pending_ += " creaseAngle='";
                AppendNumber(pending_, options_.CreaseAngle * std::numbers::pi / 180.0);
                pending_ += '\'';
            }
        }
        PutPending();
        WriteIndexField("coordIndex", faces, inputs.Position->Offset);
        if (normals != nullptr) WriteIndexField("normalIndex", faces, normals->Offset);
        if (texCoords != nullptr) WriteIndexField("texCoordIndex", faces, texCoords->Offset);
        if (colours != nullptr) WriteIndexField("colorIndex", faces, colours->Offset);
        pending_ += ">\n";
        PutPending();
        WriteData("Coordinate", "point", inputs.Position->Values, 3, depth + 2);
        if (normals != nullptr) WriteData("Normal", "vector", normals->Values, 3, depth + 2);
        if (texCoords != nullptr) WriteData("TextureCoordinate", "point", texCoords->Values, 2, depth + 2);
        if (colours != nullptr) WriteData("Color", "color", colours->Values, 3, depth + 2);
        Indent(depth + 1);
        pending_ += "</";
        pending_ += node;
        pending_ += ">\n";
    }
    Indent(depth);
    pending_ += "</Shape>\n";
    PutPending();
}

void SceneWriter::WriteIndexField(std::string_view field, const Faces& faces, std::size_t offset) {
    pending_ += ' ';
    pending_ += field;
    pending_ += "='";
    std::size_t at = 0;
    // A face at a time into a buffer of its own: one append per face.
    std::string face;
    for (const std::uint32_t size : faces.Sizes) {
        face.resize(std::size_t{size} * 12 + 2);
        char* end = face.data();
        for (std::uint32_t k = 0; k < size; ++k) {
            end = std::to_chars(end, end + 11, faces.Corners[at + k][offset]).ptr;
            *end++ = ' ';
        }
        *end++ = '-';
        *end++ = '1';
        pending_.append(face.data(), end);
        at += size;
        if (at < faces.Corners.size()) pending_ += ' ';
        if (pending_.size() > kPieceBytes) PutPending();
    }
    pending_ += '\'';
}

void SceneWriter::WriteData(std::string_view node, std::string_view field, const Accessor& values,
                            std::size_t fields, int depth) {
    Indent(depth);
    pending_ += '<';
    pending_ += node;
    const auto key = std::make_pair(values.Source, values.Morph);
    if (const auto found = writtenSources_.find(key); found != writtenSources_.end()) {
        AppendAttribute(pending_, "USE", found->second);
        pending_ += "/>\n";
        PutPending();
        return;
    }
    std::string wanted(values.Source->Attribute("id"));
    if (wanted.empty()) wanted = node;
    if (const Element* controller = values.Morph != nullptr ? tree_.Parent(*values.Morph) : nullptr) {
        wanted += '-';
        wanted += controller->Attribute("id");
    }
    const std::string name = names_.Give(wanted);
    writtenSources_.emplace(key, name);
    AppendAttribute(pending_, "DEF", name);
    pending_ += ' ';
    pending_ += field;
    pending_ += "='";
    for (std::size_t i = 0; i < values.Count; ++i) {
        for (std::size_t f = 0; f < fields; ++f) {
            double value = values.Value(i, f);
            // Colours beyond the unit range are not valid X3D colours.
            if (node == "Color") value = std::clamp(value, 0.0, 1.0);
            AppendNumber(pending_, value);
            if (f + 1 < fields) pending_ += ' ';
        }
        if (i + 1 < values.Count) pending_ += ' ';
        if (pending_.size() > kPieceBytes) PutPending();
    }
    pending_ += "'/>\n";
    PutPending();
}

void AppendColour(std::string& out, std::string_view field, const Rgba& colour) {
    const double rgb[3] = {std::clamp(colour[0], 0.0, 1.0), std::clamp(colour[1], 0.0, 1.0),
                           std::clamp(colour[2], 0.0, 1.0)};
    AppendNumbersAttribute(out, field, rgb);
}

void SceneWriter::WriteAppearance(const Element* material, bool lines, int depth) {
    Indent(depth);
    const auto key = std::make_pair(material, lines);
    if (const auto found = writtenAppearances_.find(key); found != writtenAppearances_.end()) {
        pending_ += "<Appearance";
        AppendAttribute(pending_, "USE", found->second);
        pending_ += "/>\n";
        PutPending();
        return;
    }
    const EffectLook& look = LookOf(material);
    pending_ += "<Appearance";
    if (material != nullptr) {
        std::string wanted(material->Attribute("id"));
        if (wanted.empty()) wanted = "material";
        const std::string name = names_.Give(lines ? wanted + "_lines" : wanted);
        writtenAppearances_.emplace(key, name);
        AppendAttribute(pending_, "DEF", name);
    }
    pending_ += ">\n";
    Indent(depth + 1);
    pending_ += "<Material";
    if (lines) {
        // Lines are not lit: only their emissive colour shows.
        const bool glows = look.Emission[0] + look.Emission[1] + look.Emission[2] > 0.0;
        AppendColour(pending_, "emissiveColor", glows || look.Unlit ? look.Emission : look.Diffuse);
    } else {
        AppendColour(pending_, "diffuseColor", look.Diffuse);
        AppendColour(pending_, "emissiveColor", look.Emission);
        AppendColour(pending_, "specularColor", look.Specular);
        pending_ += " shininess='";
        AppendNumber(pending_, look.Shininess);
        pending_ += '\'';
    }
    pending_ += " transparency='";
    AppendNumber(pending_, 1.0 - look.Opacity);
    pending_ += "'/>\n";
    if (!lines && look.Image != nullptr) {
        const std::string url = ImageUrl(*look.Image);
        if (!url.empty()) {
            Indent(depth + 1);
            pending_ += "<ImageTexture url='";
            AppendMFString(pending_, url);
            pending_ += "'/>\n";
        }
    }
    Indent(depth);
    pending_ += "</Appearance>\n";
    PutPending();
}

std::string ReplaceExtension(std::string_view fileName, std::string_view extension) {
    const std::size_t dot = fileName.rfind('.');
    std::string name(dot == std::string_view::npos || dot == 0 ? fileName : fileName.substr(0, dot));
    if (name.empty()) name = "image";
    return name + std::string(extension);
}

std::string SceneWriter::ImageUrl(const Element& image) {
    if (const auto found = imageUrls_.find(&image); found != imageUrls_.end()) return found->second;
    std::string& url = imageUrls_[&image];
    const std::string reference(Trim(tree_.TextAt(image, {"init_from"})));
    if (reference.empty()) return url;
    if (settings_.Archive != nullptr) {
        const ImageReference named = ReadImageReference(reference);
        if (named.Type == ImageReference::Kind::Url) {
            url = EncodeUrl(named.Path);
            return url;
        }
        // As in a folder: relative to the document's entry, then (and for
        // paths of other machines) the file name beside it. A ".." that
        // would leave the archive finds nothing.
        const std::string_view document = settings_.ArchiveDocument;
        const std::string folder(document.substr(0, document.rfind('/') + 1));
        std::vector<std::string> tries;
        if (named.Type == ImageReference::Kind::Relative) tries = {named.Path, named.Undecoded};
        tries.push_back(named.FileName);
        tries.push_back(named.UndecodedFileName);
        const archive::Entry* entry = nullptr;
        for (const std::string& path : tries) {
            if (path.empty()) continue;
            const auto inArchive = archive::NormalizeEntryPath(folder + path);
            if (inArchive && (entry = settings_.Archive->Find(*inArchive)) != nullptr) break;
        }
        if (entry == nullptr) {
            Warn(ErrorKind::kCannotOpen, "image not found in the archive: " + reference);
            url = EncodePath(named.Path);
            return url;
        }
        // Each entry is extracted once. The key cannot be a file's path,
        // which never holds a NUL.
        const std::string key = std::string(1, '\0') + entry->Name;
        if (const auto done = convertedFiles_.find(key); done != convertedFiles_.end()) {
            url = done->second;
            return url;
        }
        std::string name = OutputBaseName(settings_.OutputName) + "_files/" + entry->Name;
        url = EncodePath(name);
        convertedFiles_.emplace(key, url);
        if (settings_.Images == nullptr) return url;
        // The images are part of the archive, and what they take in memory
        // comes out of its budget: the entry held whole, and the pixels of
        // one that is converted (4 bytes each to decode, about twice that
        // again to encode).
        MemoryBudget& budget = tree_.Budget();
        constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
        const std::uint64_t room = (budget.Limit() - std::min(budget.Limit(), budget.Used())) / kMiB * kMiB;
        std::string bytes;
        std::string error;
        if (!settings_.Archive->ReadWhole(*entry, std::min(archive::kMostImageEntryBytes, room), bytes, error)) {
            Warn(ErrorKind::kBadArchive, "image " + entry->Name + " not extracted: " + error);
            return url;
        }
        const std::span<const unsigned char> data(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        const BrowserImage prepared = PrepareForBrowsers(data, entry->Name, std::min(kMaxImagePixels, (room - bytes.size()) / 12));
        std::string_view put = bytes;
        if (prepared.Result == BrowserImage::Action::Converted) {
            const std::size_t slash = name.rfind('/');
            name = name.substr(0, slash + 1) + ReplaceExtension(std::string_view(name).substr(slash + 1), ".png");
            put = std::string_view(reinterpret_cast<const char*>(prepared.Png.Png.data()), prepared.Png.Png.size());
        } else if (prepared.Result == BrowserImage::Action::Failed) {
            Warn(ErrorKind::kCannotRead, "image " + reference + " cannot be converted: " + prepared.Png.Error);
        }
        if (settings_.Images->PlaceImage(name, put, error)) {
            url = EncodePath(name);
            convertedFiles_[key] = url;
        } else {
            Warn(ErrorKind::kCannotWrite, "image " + reference + " not extracted: " + error);
        }
        return url;
    }
    if (!settings_.LookUpImages) {
        url = EncodeUrl(reference);
        return url;
    }
    const ImageLocation location = LocateImage(reference, settings_.Location, settings_.OutputName);
    url = location.Url;
    if (location.Status == ImageStatus::Missing) {
        Warn(ErrorKind::kCannotOpen, "image not found: " + reference);
        return url;
    }
    if (location.Status == ImageStatus::Remote || settings_.Images == nullptr) return url;

    // Only a format that browsers cannot show is read whole and converted.
    std::vector<unsigned char> head(64);
    {
        std::ifstream file(location.File, std::ios::binary);
        file.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
        head.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    }
    if (BrowsersShow(SniffImageFormat(head, location.File))) return url;
    if (const auto done = convertedFiles_.find(location.File); done != convertedFiles_.end()) {
        url = done->second;
        return url;
    }
    std::vector<unsigned char> bytes;
    std::string error;
    if (!ReadImageFile(location.File, bytes, error)) {
        Warn(ErrorKind::kCannotRead, "image " + reference + " cannot be read: " + error);
        return url;
    }
    const BrowserImage prepared = PrepareForBrowsers(bytes, location.File);
    if (prepared.Result == BrowserImage::Action::Converted) {
        const std::size_t slash = location.File.rfind('/');
        std::string name = ReplaceExtension(
            slash == std::string::npos ? std::string_view(location.File) : std::string_view(location.File).substr(slash + 1),
            ".png");
        const std::string_view png(reinterpret_cast<const char*>(prepared.Png.Png.data()), prepared.Png.Png.size());
        if (settings_.Images->PlaceImage(name, png, error)) {
            url = EncodePath(name);
            convertedFiles_.emplace(location.File, url);
        } else {
            Warn(ErrorKind::kCannotWrite, "image " + reference + " not converted: " + error);
        }
    } else if (prepared.Result == BrowserImage::Action::Failed) {
        Warn(ErrorKind::kCannotRead, "image " + reference + " cannot be converted: " + prepared.Png.Error);
    }
    return url;
}

void SceneWriter::WriteCamera(const Element& camera, int depth) {
    const Element* optics = tree_.Child(camera, "optics");
    const Element* common = optics != nullptr ? tree_.Child(*optics, "technique_common") : nullptr;
    const Element* perspective = common != nullptr ? tree_.Child(*common, "perspective") : nullptr;
    const Element* orthographic = common != nullptr ? tree_.Child(*common, "orthographic") : nullptr;
    Indent(depth);
    pending_ += orthographic != nullptr ? "<OrthoViewpoint" : "<Viewpoint";
    std::string title(camera.Attribute("name"));
    if (title.empty()) title = camera.Attribute("id");
    if (!title.empty()) AppendAttribute(pending_, "description", title);
    // A camera looks down its -Z axis with +Y up, as a Viewpoint does.
    pending_ += " position='0 0 0'";
    const auto number = [&](const Element& optic, std::string_view name) {
        const std::vector<double> values = ParseNumbers(tree_.TextAt(optic, {name}));
        return values.empty() ? 0.0 : values[0];
    };
    if (orthographic != nullptr) {
        const std::array<double, 2> half = OrthographicHalfSize(
            number(*orthographic, "xmag"), number(*orthographic, "ymag"), number(*orthographic, "aspect_ratio"));
        if (half[0] > 0.0 && half[1] > 0.0 && std::isfinite(half[0]) && std::isfinite(half[1])) {
            const double area[4] = {-half[0], -half[1], half[0], half[1]};
            AppendNumbersAttribute(pending_, "fieldOfView", area);
        }
    } else if (perspective != nullptr) {
        const double fov = PerspectiveFieldOfView(number(*perspective, "xfov"), number(*perspective, "yfov"),
                                                  number(*perspective, "aspect_ratio"));
        if (fov > 0.0) {
            pending_ += " fieldOfView='";
            AppendNumber(pending_, fov);
            pending_ += '\'';
        }
    }
    pending_ += "/>\n";
    PutPending();
}

void SceneWriter::WriteLight(const Element& light, int depth) {
    const Element* common = tree_.Child(light, "technique_common");
    if (common == nullptr) return;
    const Element* kind = nullptr;
    for (std::string_view name : {"point", "directional", "spot"}) {
        if ((kind = tree_.Child(*common, name)) != nullptr) break;
    }
    if (kind == nullptr) return;
    std::vector<double> colour = ParseNumbers(tree_.TextAt(*kind, {"color"}));
    colour.resize(3, 1.0);
    // X3D colours stop at 1; brighter lights keep their hue and get more intensity.
    const double brightest = std::max({colour[0], colour[1], colour[2], 0.0});
    const double intensity = std::min(brightest, 1.0);
    if (brightest > 0.0) {
        for (double& c : colour) c = std::clamp(c / brightest, 0.0, 1.0);
    }
    const auto number = [&](std::string_view name, double fallback) {
        const std::vector<double> values = ParseNumbers(tree_.TextAt(*kind, {name}));
        return values.empty() || !std::isfinite(values[0]) ? fallback : values[0];
    };
    Indent(depth);
    if (kind->Name() == "directional") {
        pending_ += "<DirectionalLight global='true' direction='0 0 -1'";
    } else {
        pending_ += kind->Name() == "point" ? "<PointLight" : "<SpotLight direction='0 0 -1'";
        pending_ += " location='0 0 0' radius='1e6'";
        const double attenuation[3] = {std::max(number("constant_attenuation", 1.0), 0.0),
                                       std::max(number("linear_attenuation", 0.0), 0.0),
                                       std::max(number("quadratic_attenuation", 0.0), 0.0)};
        AppendNumbersAttribute(pending_, "attenuation", attenuation);
        if (kind->Name() == "spot") {
            const double falloff = std::clamp(number("falloff_angle", 180.0), 0.0, 180.0);
            pending_ += " cutOffAngle='";
            AppendNumber(pending_, std::min(falloff / 2.0, 90.0) * std::numbers::pi / 180.0);
            pending_ += '\'';
        }
    }
    AppendNumbersAttribute(pending_, "color", colour);
    pending_ += " intensity='";
    AppendNumber(pending_, intensity);
    pending_ += "'/>\n";
    PutPending();
}

void SceneWriter::Write(OutputSink& sink, std::uint64_t limit) {
    const Element* root = tree_.Root();
    if (root == nullptr || root->Name() != "COLLADA") {
        throw ConversionError(ErrorKind::kNothingToConvert, "nothing to convert (not a COLLADA document)");
    }
    const Element* visualScene = VisualScene();
    FindSharedNodes();
    const NamedChildren nodes = visualScene != nullptr ? tree_.Children(*visualScene, "node") : NamedChildren();
    // Without a visual scene, every geometry of the document is shown once.
    NamedChildren loose;
    if (nodes.empty()) {
        if (const Element* library = tree_.Child(*root, "library_geometries")) {
            loose = tree_.Children(*library, "geometry");
        }
    }

    // The scene is Y-up and in metres: one turn and one scale at the root,
    // those of the visual scene (or of the document when there is none).
    documentFrame_ = ApplyAsset(*root, Frame{});
    const Frame rootFrame = visualScene != nullptr ? FrameOf(*visualScene, documentFrame_) : documentFrame_;
    const double meter = rootFrame.Meter;
    const Matrix4 rootMatrix = UpAxisMatrix(rootFrame.UpAxis) * ScaleMatrix(meter, meter, meter);

    NodeMeasure scene;
    for (const Element* node : nodes) {
        const NodeMeasure inner = MeasureNode(*node, rootFrame, 1);
        scene.HasShapes = scene.HasShapes || inner.HasShapes;
        scene.Bounds.AddPlaced(inner.Bounds, Matrix4());
        scene.Eyes.AddPlaced(inner.Eyes, Matrix4());
    }
    for (const Element* geometry : loose) MeasureGeometry(*geometry, PlacementIn(rootFrame, *geometry), scene);
    if (!scene.HasShapes) {
        throw ConversionError(ErrorKind::kNothingToConvert,
                              options_.WritePolygons && options_.WriteLines
                                  ? "nothing to convert (no geometry in its scene)"
                                  : "nothing to convert (its primitives are left out by -sy or -sl)");
    }
    Box world;
    world.AddPlaced(scene.Bounds, rootMatrix);
    Box eyes;
    eyes.AddPlaced(scene.Eyes, rootMatrix);

    sink.Begin();
    try {
        TextOutput out(sink, limit);
        out_ = &out;
        Put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<X3D profile='Immersive' version='3.3' xmlns:xsd='http://www.w3.org/2001/XMLSchema-instance' "
            "xsd:noNamespaceSchemaLocation='http://www.web3d.org/specifications/x3d-3.3.xsd'>\n");
        WriteHead();
        Put("<Scene>\n");
        if (!settings_.Notes.empty()) {
            pending_ += "\t<WorldInfo info='";
            AppendMFString(pending_, settings_.Notes);
            pending_ += "'/>\n";
            PutPending();
        }
        if (options_.AutoBackground) {
            Put("\t<Background DEF='AutoBackground' skyColor='0.35 0.35 0.35' groundColor='0.3 0.3 0.3'/>\n");
        }
        WriteViewpoints(world, eyes);
        pending_ += "\t<Transform";
        const AxisAngle turn = UpAxisRotation(rootFrame.UpAxis);
        if (turn.Angle != 0.0) {
            pending_ += " rotation='";
            AppendRotation(pending_, turn);
            pending_ += '\'';
        }
        if (meter != 1.0) {
            const double scale[3] = {meter, meter, meter};
            AppendNumbersAttribute(pending_, "scale", scale);
        }
        pending_ += ">\n";
        PutPending();
        for (const Element* node : nodes) WriteNode(*node, rootFrame, 2);
        for (const Element* geometry : loose) {
            WritePlaced(PlacementIn(rootFrame, *geometry), 2, [&](int at) { WriteGeometry(*geometry, nullptr, at); });
        }
        Put("\t</Transform>\n</Scene>\n</X3D>\n");
        out.Flush();
        out_ = nullptr;
    } catch (...) {
        out_ = nullptr;
        sink.Abandon();
        throw;
    }
    sink.Commit();
}

}  // namespace

void WriteScene(const DocumentTree& tree, const SceneSettings& settings, OutputSink& output, std::uint64_t limit,
                std::vector<ConversionError>& warnings) {
    SceneWriter writer(tree, settings, warnings);
    writer.Write(output, limit);
}

}  // namespace morvane::faithful
