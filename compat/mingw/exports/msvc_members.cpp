// The members that MSVC generates for an exported class, for programs built by MSVC: SttInterface's constructors, which set
// the pointer to the table of virtual functions; that table, of twelve pure ones; and the assignments of both classes, which have
// no data to assign. vorin_stt.def exports them under MSVC's names.
//
// In both compilers an object's table pointer points at the first virtual function. MSVC's symbol for the table names that place,
// this compiler's one before it, so MSVC's cannot be an alias and the table stands here a second time.
#include <array>
#include <cstddef>
#include <cxxabi.h>

namespace {

constexpr std::size_t kOperations = 12; // of SttInterface

using Operation = void (*)();
using Table = std::array<Operation, kOperations>;

struct Object {
  const Table* table;
};

constexpr Table tableOfPureFunctions() {
  Table table{};
  table.fill(&abi::__cxa_pure_virtual);
  return table;
}

} // namespace

extern "C" {

extern const Table vorin_msvc_table;
constinit const Table vorin_msvc_table = tableOfPureFunctions();

// Default, copy and move constructor: the source has no data to copy.
void* vorin_msvc_construct(Object* object) {
  object->table = &vorin_msvc_table;
  return object; // as MSVC's constructors do
}

void* vorin_msvc_assign(void* object) {
  return object;
}

} // extern "C"
