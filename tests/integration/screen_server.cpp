// The simulated television's page alone: prints its address, and serves it until the standard input ends.
// screen_server [PORT]
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "screen.h"
#include "simulated/television.h"

int main(int argc, char** argv) {
    try {
        simulated::Television& television = simulated::Television::instance();
        television.powerOn();
        {
            const television::Screen screen(television, argc > 1 ? std::stoi(argv[1]) : 0);
            std::cout << screen.url() << std::endl;
            for (std::string line; std::getline(std::cin, line);) {
            }
        }
        television.video().stop();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "screen_server: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
