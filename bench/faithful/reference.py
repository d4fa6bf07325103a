#!/usr/bin/python3
"""World-space extent and triangle count of COLLADA documents, as read by
pycollada (Debian's python3-collada), an independent COLLADA reader.

    bench/faithful/reference.py [--jobs N] [--cache DIR] [--out FILE] DOCUMENT...

For each document, pycollada binds the visual scene that <scene> instances:
every <instance_geometry> under its nodes, through <instance_node> too, with
the product of the node matrices on the way. The points that the bound
triangles and lines use are then taken to Y-up (Z_UP maps (x, y, z) to
(x, z, -y), X_UP maps it to (-y, x, z)) and to metres (times <unit meter>; a
document without <unit> is in metres), and give the box.

Triangles are counted as pycollada makes them: <triangles> as written,
<polylist> and <polygons> cut into fans (a polygon of n corners gives n - 2,
one of fewer gives none), <tristrips> and <trifans> with each <p> one strip
or fan (n - 2 each). <lines> count as lines, not triangles, and add their
points to the box; pycollada cannot read <linestrips>. Skins and morphs
(<instance_controller>) are not followed, so a document that instances one
has no reference.

Before pycollada reads a document, what the numbers do not depend on is
taken out (materials, effects, images, animations, cameras, lights,
controllers and their instances), since pycollada drops an instanced
geometry whose material it cannot resolve; and the node libraries are
gathered into one that also holds a copy of each node an instance_node
names, since pycollada looks such a node up only at the top of a library.

A document that pycollada cannot read, or that it would bind wrongly, gets
"status": "unavailable" and a "note" saying why, instead of numbers:
<skew> and <lookat> (pycollada drops the first and builds the second
transposed), a <rotate> axis that is not of unit length (pycollada does not
normalise it), a <unit> or <up_axis> in the <asset> of an element below the
root (pycollada applies the document's own), <polygons> with holes (<ph> is
dropped), a <triangles> or <lines> with several <p> (only the first is
read), an <accessor> with an offset (read from the array's start), a skin
or morph (not followed), an instanced mesh or a primitive element that pycollada left out
(with its load errors), an instance cycle, and a reference to another
document.

Writes one JSON object: {"reader": ..., "documents": [...]}, one entry per
DOCUMENT in the order given. Results are cached under DIR (default
build-faithful/reference-cache below the current directory; "" for none) by
the SHA-256 of the document's bytes and of this script, so a second run only
reads the documents that changed. Documents are read by N processes
(default 2).
"""

import argparse
import copy
import hashlib
import importlib.metadata
import io
import json
import math
import os
import sys
from concurrent.futures import ProcessPoolExecutor

import numpy

import collada
from collada import common
from collada.xmlutil import etree

# Every kind of error pycollada reports while it loads. They are all
# recorded and the load goes on, since most (a missing image, an effect
# profile it does not know) do not touch the geometry; whether the scene was
# bound whole is checked afterwards against the document itself.
LOAD_ERRORS = [common.DaeError, common.DaeIncompleteError, common.DaeBrokenRefError,
               common.DaeMalformedError, common.DaeUnsupportedError]

# Points (x, y, z) of a document of this up axis, taken to Y-up.
UP_AXIS_MAPS = {
    "Y_UP": numpy.array([[1, 0, 0], [0, 1, 0], [0, 0, 1]], dtype=numpy.float64),
    "Z_UP": numpy.array([[1, 0, 0], [0, 0, 1], [0, -1, 0]], dtype=numpy.float64),
    "X_UP": numpy.array([[0, -1, 0], [1, 0, 0], [0, 0, 1]], dtype=numpy.float64),
}


# Elements whose own <asset> would change the scene's points.
SCENE_ELEMENTS = {"library_geometries", "geometry", "library_nodes", "library_visual_scenes", "visual_scene", "node"}

PRIMITIVES = {"triangles", "polylist", "polygons", "tristrips", "trifans", "lines", "linestrips"}


class Unavailable(Exception):
    """pycollada cannot give this document's numbers; the message says why."""


def local(tag):
    return tag.rsplit("}", 1)[-1] if isinstance(tag, str) else None


def children(element, name):
    return [child for child in element if local(child.tag) == name]


def scene_survey(root):
    """Walks the instanced visual scene of the document's own XML, as a
    check on pycollada's binding: returns the number of instance_geometry
    elements reached that name a <mesh>, the primitive elements of those
    meshes, and the instance_controller count.
    Raises Unavailable for what pycollada binds wrongly."""
    by_id = {}
    for element in root.iter():
        element_id = element.get("id") if isinstance(element.tag, str) else None
        if element_id is not None:
            by_id.setdefault(element_id, element)
    scene = next((element for element in root.iter() if local(element.tag) == "instance_visual_scene"), None)
    if scene is None:
        raise Unavailable("no <instance_visual_scene>: nothing to bind")
    url = scene.get("url") or ""
    if not url.startswith("#"):
        raise Unavailable(f"the instanced visual scene is in another document ({url})")
    visual_scene = by_id.get(url[1:])
    if visual_scene is None or local(visual_scene.tag) != "visual_scene":
        raise Unavailable(f"instance_visual_scene names no visual_scene ({url})")

    # An <asset> below the root may set its own unit or up axis for its
    # element; pycollada applies the document's only.
    for owner in root.iter():
        if local(owner.tag) not in SCENE_ELEMENTS:
            continue
        for asset in children(owner, "asset"):
            for setting in asset:
                if local(setting.tag) in ("unit", "up_axis"):
                    raise Unavailable(f"<{local(setting.tag)}> in the <asset> of a <{local(owner.tag)}>: "
                                      "pycollada applies the document's own only")

    counts = {"geometries": 0, "primitives": 0, "controllers": 0}

    def check_geometry(geometry):
        for mesh in children(geometry, "mesh"):
            for source in children(mesh, "source"):
                for common in children(source, "technique_common"):
                    for accessor in children(common, "accessor"):
                        if (accessor.get("offset") or "0").strip() not in ("", "0"):
                            raise Unavailable(f"<accessor> of source {source.get('id')!r} with an offset: "
                                              "pycollada reads from the array's start")
            for primitive in mesh:
                kind = local(primitive.tag)
                if kind in PRIMITIVES:
                    counts["primitives"] += 1
                if kind == "polygons" and children(primitive, "ph"):
                    raise Unavailable("<polygons> with holes: pycollada leaves <ph> out")
                if kind in ("triangles", "lines") and len(children(primitive, "p")) > 1:
                    raise Unavailable(f"<{kind}> with several <p>: pycollada reads the first only")

    def visit(node, ancestors):
        if id(node) in ancestors:
            raise Unavailable(f"instance_node cycle through node {node.get('id')!r}")
        ancestors = ancestors | {id(node)}
        for child in node:
            kind = local(child.tag)
            if kind in ("skew", "lookat"):
                raise Unavailable(f"<{kind}> in node {node.get('id')!r}: pycollada does not bind it right")
            if kind == "rotate":
                values = (child.text or "").split()
                try:
                    x, y, z, angle = (float(value) for value in values)
                except ValueError:
                    raise Unavailable(f"<rotate> {' '.join(values)!r} in node {node.get('id')!r}: "
                                      "not four numbers") from None
                if angle != 0 and abs(math.sqrt(x * x + y * y + z * z) - 1) > 1e-3:
                    raise Unavailable(f"<rotate> {' '.join(values)} in node {node.get('id')!r}: "
                                      "pycollada takes the axis as of unit length")
            elif kind == "node":
                visit(child, ancestors)
            elif kind == "instance_node":
                target = child.get("url") or ""
                if not target.startswith("#"):
                    raise Unavailable(f"instance_node names another document ({target})")
                referred = by_id.get(target[1:])
                if referred is None or local(referred.tag) != "node":
                    raise Unavailable(f"instance_node names no node ({target})")
                visit(referred, ancestors)
            elif kind == "instance_geometry":
                target = child.get("url") or ""
                if not target.startswith("#"):
                    raise Unavailable(f"instance_geometry names another document ({target})")
                geometry = by_id.get(target[1:])
                if geometry is not None and local(geometry.tag) == "geometry" and children(geometry, "mesh"):
                    check_geometry(geometry)
                    counts["geometries"] += 1
            elif kind == "instance_controller":
                counts["controllers"] += 1

    for node in children(visual_scene, "node"):
        visit(node, frozenset())
    return counts


# What the numbers do not depend on. pycollada drops an instance_geometry
# whose material it cannot resolve (an effect naming a missing image is
# enough), so looks, animation, cameras and lights are taken out of the
# document before pycollada reads it; skins and morphs are not followed.
UNUSED_LIBRARIES = {"library_images", "library_effects", "library_materials", "library_animations",
                    "library_animation_clips", "library_controllers", "library_cameras", "library_lights",
                    "library_physics_models", "library_physics_scenes", "library_physics_materials",
                    "library_force_fields", "library_formulas", "library_kinematics_models"}
UNUSED_INSTANCES = {"bind_material", "instance_camera", "instance_light", "instance_controller"}


def geometry_only(root):
    """Removes what the numbers do not depend on, and gathers every node
    library into the first one, with a copy of each node that an
    instance_node names but that is not at the top of a node library:
    pycollada looks an instanced node up among those only, and within one
    library."""
    namespace = root.tag[:root.tag.index("}") + 1] if root.tag.startswith("{") else ""
    library = None
    targets = set()
    for parent in list(root.iter()):
        for child in list(parent):
            kind = local(child.tag)
            if kind in UNUSED_INSTANCES or (parent is root and kind in UNUSED_LIBRARIES):
                parent.remove(child)
            elif parent is root and kind == "library_nodes":
                if library is None:
                    library = child
                else:
                    for node in list(child):
                        library.append(node)
                    parent.remove(child)
            elif kind == "instance_node" and (child.get("url") or "").startswith("#"):
                targets.add(child.get("url")[1:])
    if library is None:
        library = etree.SubElement(root, namespace + "library_nodes")
    at_top = {node.get("id") for node in children(library, "node")}
    for node in list(root.iter()):
        if local(node.tag) == "node" and node.get("id") in targets - at_top:
            library.append(copy.deepcopy(node))
            at_top.add(node.get("id"))


def measure(path):
    """The entry of one document (without its path and hash)."""
    try:
        tree = etree.parse(path)
    except Exception as error:
        raise Unavailable(f"not well-formed XML: {error}") from None
    root = tree.getroot()
    counts = scene_survey(root)
    geometry_only(root)
    try:
        document = collada.Collada(io.BytesIO(etree.tostring(root)), ignore=LOAD_ERRORS)
    except Exception as error:  # pycollada gives up on the whole document
        raise Unavailable(f"pycollada: {type(error).__name__}: {error}") from None
    errors = [f"{type(error).__name__}: {error}" for error in document.errors]
    if document.scene is None:
        raise Unavailable("pycollada bound no scene: " + ("; ".join(errors) or "no reason given"))

    asset = document.assetInfo
    up_axis = asset.upaxis if asset is not None and asset.upaxis in UP_AXIS_MAPS else "Y_UP"
    unit = asset.unitmeter if asset is not None and asset.unitmeter is not None else 1.0
    to_world = UP_AXIS_MAPS[up_axis] * unit

    triangles = lines = geometries = primitives = 0
    low = numpy.full(3, numpy.inf)
    high = numpy.full(3, -numpy.inf)
    for bound in document.scene.objects("geometry"):
        geometries += 1
        for primitive in bound.primitives():
            primitives += 1
            if isinstance(primitive, collada.lineset.BoundLineSet):
                used = primitive._vertex_index
                lines += 0 if used is None else len(used)
            else:
                if isinstance(primitive, collada.polylist.BoundPolylist):
                    primitive = primitive.triangleset()
                used = primitive._vertex_index
                triangles += 0 if used is None else len(used)
            if used is None or len(used) == 0 or primitive._vertex is None:
                continue
            used = numpy.asarray(used).ravel()
            if used.min() < 0 or used.max() >= len(primitive._vertex):
                raise Unavailable(f"geometry {bound.original.id!r}: an index beyond its points")
            points = numpy.asarray(primitive._vertex, dtype=numpy.float64)[numpy.unique(used)] @ to_world.T
            low = numpy.minimum(low, points.min(axis=0))
            high = numpy.maximum(high, points.max(axis=0))
    if geometries != counts["geometries"]:
        raise Unavailable(f"pycollada bound {geometries} of the {counts['geometries']} instanced meshes: "
                          + ("; ".join(errors) or "no reason given"))
    if primitives != counts["primitives"]:
        raise Unavailable(f"pycollada read {primitives} of the {counts['primitives']} primitive elements "
                          "of the instanced meshes: " + ("; ".join(errors) or "no reason given"))
    if counts["controllers"]:
        raise Unavailable(f"{counts['controllers']} <instance_controller>: pycollada does not follow skins "
                          "and morphs, which the scene draws")
    box = None
    if numpy.all(numpy.isfinite(low)) and numpy.all(numpy.isfinite(high)):
        box = {"min": [float(v) for v in low], "max": [float(v) for v in high]}
    return {"status": "ok", "upAxis": up_axis, "unitMeter": unit, "geometries": geometries,
            "triangles": triangles, "lines": lines, "box": box,
            "controllers": counts["controllers"], "loadErrors": errors}


def entry(path):
    try:
        result = measure(path)
    except Unavailable as reason:
        result = {"status": "unavailable", "note": str(reason)}
    except Exception as error:  # a fault of pycollada or numpy on this document
        result = {"status": "unavailable", "note": f"pycollada: {type(error).__name__}: {error}"}
    return result


def reader_version():
    try:
        return importlib.metadata.version("pycollada")
    except importlib.metadata.PackageNotFoundError:
        return "unknown"


def script_hash():
    """Cached results are kept apart per version of this script and of pycollada."""
    with open(os.path.abspath(__file__), "rb") as script:
        return hashlib.sha256(script.read() + reader_version().encode()).hexdigest()[:16]


def cached_entry(task):
    path, digest, cache = task
    cache_file = os.path.join(cache, digest + ".json") if cache else None
    if cache_file and os.path.exists(cache_file):
        with open(cache_file, encoding="utf-8") as stored:
            return json.load(stored)
    result = entry(path)
    if cache_file:
        temporary = f"{cache_file}.{os.getpid()}"
        with open(temporary, "w", encoding="utf-8") as stored:
            json.dump(result, stored)
        os.replace(temporary, cache_file)
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--cache", default="build-faithful/reference-cache",
                        help="folder of cached results; empty for none")
    parser.add_argument("--out", help="write the JSON here (default: standard output)")
    parser.add_argument("documents", nargs="+")
    arguments = parser.parse_args()

    salt = script_hash()
    tasks = []
    for path in arguments.documents:
        try:
            with open(path, "rb") as document:
                digest = hashlib.sha256(document.read()).hexdigest()
        except OSError as error:
            tasks.append((path, None, None, error))
            continue
        tasks.append((path, f"{digest}-{salt}", arguments.cache, None))
    if arguments.cache:
        os.makedirs(arguments.cache, exist_ok=True)

    runnable = [(path, key, cache) for path, key, cache, error in tasks if error is None]
    with ProcessPoolExecutor(max(1, arguments.jobs)) as pool:
        results = iter(list(pool.map(cached_entry, runnable, chunksize=4)))
    documents = []
    for path, key, _, error in tasks:
        if error is not None:
            documents.append({"source": path, "status": "unavailable", "note": f"cannot read: {error.strerror}"})
        else:
            documents.append({"source": path, "sha256": key.split("-")[0], **next(results)})
    report = {"reader": f"pycollada {reader_version()}", "documents": documents}
    text = json.dumps(report, indent=1) + "\n"
    if arguments.out:
        with open(arguments.out, "w", encoding="utf-8") as out:
            out.write(text)
    else:
        sys.stdout.write(text)


if __name__ == "__main__":
    main()
