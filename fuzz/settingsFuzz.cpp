// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnKeyDatabase.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Any bytes as the file of the user's settings: what is listed can be read, and a change either is refused
// and leaves the file as it was, or keeps all that was there.

namespace
{
std::string& file()
{
    static std::string name;
    return name;
}

std::string content()
{
    std::ifstream in(file(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void store(const std::string& bytes)
{
    std::ofstream(file(), std::ios::binary) << bytes;
    static time_t age = 2000000000; // later than any file that the library writes, and than the one before
    const timespec time{++age, 0};
    const timespec times[2] = {time, time};
    VN_FUZZ_CHECK(utimensat(AT_FDCWD, file().c_str(), times, 0) == 0);
}

unsigned int checkSum(const std::string& bytes, std::size_t size)
{
    static const std::array<unsigned int, 256> table = []
    {
        std::array<unsigned int, 256> sums{};
        for (unsigned int i = 0; i < sums.size(); ++i)
        {
            sums[i] = i;
            for (int bit = 0; bit < 8; ++bit)
                sums[i] = sums[i] >> 1 ^ (sums[i] & 1 ? 0xEDB88320u : 0);
        }
        return sums;
    }();
    unsigned int sum = ~0u;
    for (std::size_t i = 0; i < size; ++i)
        sum = sum >> 8 ^ table[(sum ^ static_cast<unsigned char>(bytes[i])) & 0xFF];
    return ~sum;
}

void putNumber(std::string& bytes, std::size_t place, std::size_t value)
{
    for (std::size_t i = 0; i < 4; ++i, value >>= 8)
        bytes[place + i] = static_cast<char>(value);
}

// Makes the head and the check sum right, so that what stands between them is looked at.
void mend(std::string& bytes)
{
    if (bytes.size() < 20)
        return;
    std::memcpy(bytes.data(), "vnKeys\1\0", 8);
    putNumber(bytes, 8, bytes.size());
    putNumber(bytes, bytes.size() - 4, checkSum(bytes, bytes.size() - 4));
}

vnString valueOf(const vnRegKeyPlace& place)
{
    VN_FUZZ_CHECK(vnKeyDatabase::existRegKey(VN_REG_KEY_USER, place.key, place.name) ||
                  place.key.isFirst('/') || place.key.isLast('/') || place.key.contains("//") ||
                  place.key.contains("\\"));
    return vnKeyDatabase::getRegKey(VN_REG_KEY_USER, place.key, place.name);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // In memory where that is possible: each change waits for the disk otherwise.
    const std::string base =
        access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path().string();
    static std::string folder = base + "/vnSettingsFuzzXXXXXX";
    VN_FUZZ_CHECK(mkdtemp(folder.data()) != nullptr);
    std::atexit([] { std::filesystem::remove_all(folder); });
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    std::filesystem::create_directory(folder + "/vantorsdk");
    file() = folder + "/vantorsdk/user.keys";
    vnKeyDatabase::setLocalRegistry("");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const bool mends = input.byte() & 1;
    const std::string key = input.shortText();
    std::string bytes = input.rest();
    if (mends)
        mend(bytes);
    store(bytes);
    const vnArray<vnRegKeyPlace> places = vnKeyDatabase::getStoredKeys(VN_REG_KEY_USER, "");
    for (const vnRegKeyPlace& place : places)
        valueOf(place);
    const vnString name(key.data(), static_cast<unsigned short>(key.size()));
    const bool isThere = vnKeyDatabase::existRegKey(VN_REG_KEY_USER, "fuzz", name);
    const bool isSet = vnKeyDatabase::setRegKey(VN_REG_KEY_USER, "fuzz", name, "value");
    if (!isSet)
    {
        VN_FUZZ_CHECK(content() == bytes);
        VN_FUZZ_CHECK(places.isEmpty());
        return 0;
    }
    VN_FUZZ_CHECK(vnKeyDatabase::getRegKey(VN_REG_KEY_USER, "fuzz", name) == "value");
    const unsigned int count = vnKeyDatabase::getStoredKeys(VN_REG_KEY_USER, "").getSize();
    VN_FUZZ_CHECK(count == places.getSize() + !isThere);
    VN_FUZZ_CHECK(vnKeyDatabase::removeRegKey(VN_REG_KEY_USER, "fuzz", name));
    VN_FUZZ_CHECK(!vnKeyDatabase::existRegKey(VN_REG_KEY_USER, "fuzz", name));
    return 0;
}
