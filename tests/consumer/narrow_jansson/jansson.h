// A Jansson header whose integers are 32 bits wide, which the configure step must refuse.
#define JANSSON_VERSION_HEX 0x020e00
typedef int json_int_t;
