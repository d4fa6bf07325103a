// Converts the COLLADA file named by its first argument and prints the X3D.
#include <morvane/morvane.hpp>

#include <fstream>
#include <iostream>
#include <sstream>

int main(int argc, char** argv) {
    std::ifstream file(argc > 1 ? argv[1] : "", std::ios::binary);
    std::ostringstream document;
    document << file.rdbuf();
    morvane::Converter converter;
    std::string x3d;
    const morvane::Status status = converter.Convert(document.str(), x3d);
    for (const morvane::Diagnostic& d : converter.Diagnostics()) std::cerr << argv[1] << ": " << d.message << '\n';
    std::cout << x3d;
    return status == morvane::Status::kOk ? 0 : 1;
}
