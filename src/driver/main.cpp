#include <string>
#include <vector>

#include "driver/conversion.h"

int main(int argc, char** argv) {
    return morvane::RunConverter(std::vector<std::string>(argv, argv + argc));
}
