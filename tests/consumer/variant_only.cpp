// A program that uses Variant alone: it does not call the logging library, so with --as-needed
// it does not list it, and the installed libtolvi must find it by itself.

#include <cstdio>

#include <tolvi/Variant.hpp>

int main() {
    Variant const v = Variant::fromJson(R"({"id": 7})");
    bool const ok = v.get("id") == Variant(7) && v.toJson() == R"({"id":7})";
    std::puts(ok ? "variant consumer: ok" : "variant consumer: FAILED");
    return ok ? 0 : 1;
}
