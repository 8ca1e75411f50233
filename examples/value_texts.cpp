// Prints the stored text and type word of a few typed values: what a scene
// package holds for each of them.
#include <cstdio>
#include <string>

#include "zel/zel.hpp"

namespace {

void show(const char* what, const vorn::generic_param& param) {
    std::printf("%-22s %-12s \"%s\"\n", what, param.type.c_str(), param.value.c_str());
}

}  // namespace

int main() {
    const int corners[] = {0, 1, -2147483647 - 1};
    const double color[] = {0.8, 0.5, 1.0 / 3};

    std::printf("%-22s %-12s %s\n", "value", "type", "text");
    show("double 1234.5678", vorn::generic_param(1234.5678));
    show("float 1234.5678f", vorn::generic_param(1234.5678f));
    show("double 0.00099", vorn::generic_param(0.00099));
    show("double 1e100", vorn::generic_param(1e100));
    show("int[3]", vorn::generic_param(corners, 3));
    show("double[3]", vorn::generic_param(color, 3));
    show("bool true", vorn::generic_param(true));
    show("string", vorn::generic_param(std::string("hello scene")));
    show("char 'A'", vorn::generic_param('A'));
    return 0;
}
