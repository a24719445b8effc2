#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

/// Usage: device_call NODE OPERATION..., where an operation is write:HEXBYTES or ioctl:HEXREQUEST. Exits with
/// the number of operations that failed.
int main(int argc, char** argv)
{
    const int descriptor = ::open(argv[1], O_RDWR | O_CLOEXEC);
    int failures = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string operation = argv[i];
        const std::string digits = operation.substr(operation.find(':') + 1);
        if (operation.starts_with("ioctl:")) {
            failures += ::ioctl(descriptor, std::strtoul(digits.c_str(), nullptr, 16), nullptr) == 0 ? 0 : 1;
            continue;
        }
        std::vector<unsigned char> bytes;
        for (std::size_t at = 0; at < digits.size(); at += 2) {
            bytes.push_back(static_cast<unsigned char>(std::stoul(digits.substr(at, 2), nullptr, 16)));
        }
        failures += ::write(descriptor, bytes.data(), bytes.size()) == ssize_t(bytes.size()) ? 0 : 1;
    }
    return failures;
}
