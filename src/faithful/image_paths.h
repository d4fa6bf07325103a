// Where the image that a document names lies, and by which URL the output
// refers to it. An image reference is a URI reference, but exporters write
// plain paths of their own system too: Windows paths with drive letters and
// backslashes, file: URLs of another machine, names with blanks left as they
// are. The places to look are computed as plain text; only LocateImage
// consults the file system, through a function it is given.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane::faithful {

// What the text of a reference names, read once.
struct ImageReference {
    enum class Kind {
        None,      // no text (blanks only)
        Relative,  // a path relative to the document's folder
        Absolute,  // an absolute path of this system
        Foreign,   // a path of another machine: a drive letter, a UNC path, a file: URL of another host
        Url,       // a URL of another scheme (http, https, ...), as written
    };
    Kind Type = Kind::None;
    // '/'-separated and percent-decoded for the kinds of paths ("C:/maps/a.tga"
    // for a Foreign one); the URL as written for Url.
    std::string Path;
    // Relative and Absolute: the path with '/' separators but without the
    // percent-decoding, when that differs (a file may be named "a%20b.png").
    std::string Undecoded;
    // The last part of Path, and of Undecoded where there is one.
    std::string FileName;
    std::string UndecodedFileName;
    // The reference was a file: URL.
    bool FromFileUrl = false;
};

// Reads a reference, with blanks around it ignored. Scheme names compare
// without regard to case. A file: URL's host is dropped when it is empty or
// "localhost"; a drive letter where a host would be ("file://C:\x") is read
// as a drive. Its query and fragment are not part of its path. Backslashes
// are separators in every path.
ImageReference ReadImageReference(std::string_view text);

// How a lookup ended.
enum class ImageStatus {
    Named,    // found where the reference names it
    Nearby,   // found by a fallback
    Missing,  // not found anywhere tried
    Remote,   // a URL, not looked up (the reference's or the document's)
};

struct ImageLocation {
    ImageStatus Status = ImageStatus::Missing;
    // The local file found, as it was tried (Named, Nearby).
    std::string File;
    // How the output names the image: a URL relative to the output's
    // folder for a local file (Missing: to where the reference names it, or
    // the file name beside the document for a path of another machine), or
    // an absolute URL (Remote). Empty when the reference is empty.
    std::string Url;
};

// The local files tried for a reference of a local document, in order:
//   1. where the reference names it (Relative: from the document's folder);
//   2. its file name in the document's folder, then in the folders
//      textures/, images/, ../textures/ and ../materials/textures/ of the
//      document's folder (the layouts exporters and model libraries use).
// Each place is tried with the name as written, then with its extension
// in lower case, then in upper case; percent-decoded before undecoded.
// Paths are joined and their "." and ".." resolved as text, the way a
// browser resolves the URL; a relative document gives relative paths. No
// path appears twice. Empty for None and Url references.
std::vector<std::string> ImageCandidates(const ImageReference& reference, std::string_view documentPath);

// Looks the image up. `document` is a local path, a file: URL or an
// http(s) URL; `output` the local path of the output file; relative paths
// are taken from `workingDirectory` (absolute). `isFile` tells whether a
// path names a regular file.
ImageLocation LocateImage(std::string_view reference, std::string_view document, std::string_view output,
                          std::string_view workingDirectory, const std::function<bool(const std::string&)>& isFile);
// The same on this machine's file system, from the current directory.
ImageLocation LocateImage(std::string_view reference, std::string_view document, std::string_view output);

// The URL of `file` relative to the folder of `output`, both paths taken
// from `workingDirectory` when relative, each part percent-encoded.
std::string RelativeUrl(std::string_view output, std::string_view file, std::string_view workingDirectory);

// A path with every byte other than letters, digits, - . _ ~ and '/'
// percent-encoded, so that no part reads as a scheme, query or fragment.
std::string EncodePath(std::string_view path);

// A URL with what may not stand in one percent-encoded (blanks, controls,
// bytes above 127, " < > \ ^ ` { | }, and a '%' that starts no escape),
// everything else kept.
std::string EncodeUrl(std::string_view url);

// `reference` resolved against the absolute URL `base`, dot segments
// removed, by the rules of URI references.
std::string ResolveUrl(std::string_view base, std::string_view reference);

// Lexical path arithmetic: `path` with empty and "." parts dropped and
// each ".." taking away the part before it (kept at the front of a
// relative path, dropped at the root of an absolute one).
std::string NormalizePath(std::string_view path);

}  // namespace morvane::faithful
