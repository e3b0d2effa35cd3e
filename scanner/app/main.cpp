#include "scanner/app/lumorad.h"

#include <iostream>

int main(int argc, char** argv)
{
    return app::RunLumorad(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc), std::cout,
                           std::cerr);
}
