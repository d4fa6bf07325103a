#include "driver/command_line.h"

#include <cctype>

#include "events/conversion_options.h"

namespace morvane {

void PrintUsage(std::FILE* out) {
    std::fputs("\nUsage: Morvane [options] <inputfile or url> <output file name>\n", out);
    std::fputs("\nYou need to pass an argument on the command-line which is\ta URL or filename for the GoogleEarth "
               "filename to be parsed.\n",
               out);
    std::fputs("-sy : supress polygons\n", out);
    std::fputs("-sl : supress lines\n", out);
    std::fputs("-sp : supress points\n", out);
    std::fputs("-sv : supress auto-viewpoint\n", out);
    std::fputs("-sb : supress auto-background\n", out);
    std::fputs("-sn : supress auto-navigation info\n", out);
    std::fputs("-se : supress EXAMINE navigation\n", out);
    std::fputs("-ss : supress mesh smoothing & optimization\n", out);
    std::fputs("-fy : force polygons (default)\n", out);
    std::fputs("-fl : force lines (default)\n", out);
    std::fputs("-fp : force points (default)\n", out);
    std::fputs("-fv : force auto-viewpoint (default)\n", out);
    std::fputs("-fb : force auto-background (default)\n", out);
    std::fputs("-fm : force materials if textures exist\n", out);
    std::fputs("-fn : force auto-navigation info (default)\n", out);
    std::fputs("-fe : force EXAMINE navigation (default)\n", out);
    std::fputs("-fs : force mesh smoothing & optimization (no warnings) This may take a long time!\n", out);
    // The default is shown, whatever the arguments say.
    std::fprintf(out, "-a  : set crease angle (default is %1.1f)\n", 60.0);
    std::fputs("-l  : use 'proto libraries'\n\n", out);
    std::fputs("-z  : gzip output\n\n", out);
    std::fputs(" Sample usage - don't generate polylines, force smooth output (no warnings), gzip the result, put "
               "result in specific path\n",
               out);
    std::fputs(" Morvane -sl -fs -z model.kmz c:\\models\\model.x3d\n\n", out);
    std::fputs(" Sample usage - don't generate anything but the model, smooth (but warn on big files), put result "
               "in same directory\n",
               out);
    std::fputs(" Morvane -sv -sn -sb model.kmz\n", out);
}

void PrintHelp(std::FILE* out) {
    PrintUsage(out);
    std::fputs("\nLong options:\n", out);
    std::fputs("--faithful : write the scene as the document describes it, as valid X3D 3.3 (placement, up axis\n"
               "             and unit, materials and opacity, images found and converted to PNG beside the output);\n"
               "             the derived output name replaces .dae, .kmz or .zae by .x3d, and with -z the output\n"
               "             is gzip-compressed X3D named .x3dz\n",
               out);
    std::fputs("--help     : print this help (with no input)\n", out);
    std::fputs("--version  : print the version (with no input)\n", out);
}

void PrintVersion(std::FILE* out) { std::fprintf(out, "morvane %s\n", MORVANE_PROGRAM_VERSION); }

namespace {

// Arguments that begin with "--" are this program's own: the single-dash
// options never look at them.
void ApplyLongOption(const std::string& arg, ConversionOptions& options, CommandLine& line) {
    if (arg == "--faithful") {
        options.Faithful = true;
    } else if (arg == "--help") {
        line.Help = true;
    } else if (arg == "--version") {
        line.Version = true;
    } else {
        line.UnknownLongOptions.push_back(arg);
    }
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// -s<letter> clears the flag that the letter names.
void Suppress(char letter, ConversionOptions& options) {
    switch (letter) {
        case 'y': options.WritePolygons = false; break;
        case 'l': options.WriteLines = false; break;
        case 'p': options.WritePoints = false; break;
        case 'v': options.AutoViewpoint = false; break;
        case 'b': options.AutoBackground = false; break;
        case 'n': options.AutoNavigation = false; break;
        case 'e': options.ExamineNavigation = false; break;
        case 's': options.SmoothMeshes = false; break;
        case 'm': options.ForceMaterials = false; break;
        default: break;
    }
}

// -f<letter>: of the flags, only smoothing and materials can be forced; the
// other letters are accepted and do not undo their -s.
void Force(char letter, ConversionOptions& options, CommandLine& line) {
    if (letter == 's') {
        options.SmoothMeshes = true;
        line.WarnOnLargeFile = false;
    } else if (letter == 'm') {
        options.ForceMaterials = true;
    }
}

}  // namespace

CommandLine ApplyArguments(const std::vector<std::string>& args, ConversionOptions& options) {
    CommandLine line;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg.empty() || arg[0] != '-') {
            line.Positional.push_back(arg);
            continue;
        }
        if (arg.size() < 2) continue;
        if (arg[1] == '-') {
            ApplyLongOption(arg, options, line);
            continue;
        }
        const char third = arg.size() > 2 ? Lower(arg[2]) : '\0';
        switch (Lower(arg[1])) {
            case 's': Suppress(third, options); break;
            case 'f': Force(third, options, line); break;
            case 'z': options.GzipOutput = true; break;
            case 'l': options.ProtoLibraries = true; break;
            case 'a': std::sscanf(arg.c_str() + 2, "%f", &options.CreaseAngle); break;
            default: break;
        }
    }
    return line;
}

}  // namespace morvane
