#!/usr/bin/python3
"""Lists the COLLADA documents whose scene the classic output already
places right, to try bench/faithful-check on with --options "".

    bench/faithful/plain-scenes.py FOLDER_OR_FILE...

The classic output scales points and translations to metres (by the last
<unit> read, and as inches without one), keeps one translate and one
rotation per node, and writes them as one Transform, which turns first and
then moves. So a document qualifies when it is Y-up (or names no up axis),
has a <unit> in its own <asset> and none in the <asset> of another element,
has one visual scene and a <scene> that instances
it, every node in it and in its node libraries holds at most one
<translate> and at most one <rotate> of a non-zero angle, whose sid is
rotateX, rotateY or rotateZ and which stands after the translate, and
nothing else (no <matrix>, <scale>, <lookat>, <skew>), and its meshes hold
only triangles, polylist, polygons without holes and lines. Prints one
path a line, in the order found.
"""

import os
import sys

from collada.xmlutil import etree

MESH_PRIMITIVES = {"triangles", "polylist", "polygons", "lines"}
OTHER_MESH_PARTS = {"source", "vertices", "extra"}


def local(tag):
    return tag.rsplit("}", 1)[-1] if isinstance(tag, str) else None


def plain_node(node):
    translated = False
    turned = False
    for child in node:
        kind = local(child.tag)
        if kind in ("matrix", "scale", "lookat", "skew"):
            return False
        if kind == "translate":
            if translated or turned:
                return False
            translated = True
        elif kind == "rotate":
            values = (child.text or "").split()
            if len(values) != 4 or float(values[3]) == 0:
                continue
            if turned or child.get("sid") not in ("rotateX", "rotateY", "rotateZ"):
                return False
            turned = True
    return True


def plain(path):
    try:
        root = etree.parse(path).getroot()
    except Exception:
        return False
    elements = list(root.iter())
    kinds = [local(element.tag) for element in elements]
    up_axes = [(element.text or "").strip() for element in elements if local(element.tag) == "up_axis"]
    if any(axis != "Y_UP" for axis in up_axes):
        return False
    units = [element for element in elements if local(element.tag) == "unit"]
    own_units = [unit for asset in root if local(asset.tag) == "asset" for unit in asset if local(unit.tag) == "unit"]
    if not own_units or len(units) != len(own_units):
        return False
    if kinds.count("visual_scene") != 1 or kinds.count("instance_visual_scene") != 1:
        return False
    for element, kind in zip(elements, kinds):
        if kind == "node" and not plain_node(element):
            return False
        if kind == "mesh":
            for part in element:
                name = local(part.tag)
                if name is None:
                    continue
                if name not in MESH_PRIMITIVES | OTHER_MESH_PARTS:
                    return False
                if name == "polygons" and any(local(p.tag) == "ph" for p in part):
                    return False
        if kind in ("convex_mesh", "spline"):
            return False
    return True


def main():
    for argument in sys.argv[1:]:
        if os.path.isdir(argument):
            paths = sorted(os.path.join(folder, name) for folder, _, names in os.walk(argument)
                           for name in names if name.lower().endswith(".dae"))
        else:
            paths = [argument]
        for path in paths:
            if plain(path):
                print(path)


if __name__ == "__main__":
    main()
