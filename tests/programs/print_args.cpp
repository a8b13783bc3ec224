// Prints the arguments it was given (its own name left out) as a JSON array of strings, so that a
// test sees exactly what reached the program: spaces, quotes, "$", line ends and every other byte.
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <cstring>

int main(int argc, char **argv) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> out(buffer);
    out.StartArray();
    for (int k = 1; k < argc; ++k) out.String(argv[k], rapidjson::SizeType(std::strlen(argv[k])));
    out.EndArray();
    std::fwrite(buffer.GetString(), 1, buffer.GetSize(), stdout);
    return 0;
}
