// Names of files taken apart, in the one way the whole converter uses.
// A name may separate its parts with '/' or, as names written on other
// systems do, with '\'.
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// What follows the last `separator`; all of `text` when there is none.
inline std::string_view AfterLast(std::string_view text, char separator) {
    const std::size_t at = text.rfind(separator);
    return at == std::string_view::npos ? text : text.substr(at + 1);
}

// The last part of a name whichever separator it uses: what follows the
// last '\', and of that what follows the last '/'.
inline std::string_view FileNameOf(std::string_view name) { return AfterLast(AfterLast(name, '\\'), '/'); }

// Where that last part begins: the directory part, separator included.
inline std::size_t FileNameStart(std::string_view name) { return name.size() - FileNameOf(name).size(); }

// The directory of a path with '/' separators: "." for a bare name, "/"
// for a name in the root.
inline std::string DirectoryOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return ".";
    return slash == 0 ? "/" : std::string(path.substr(0, slash));
}

}  // namespace morvane
