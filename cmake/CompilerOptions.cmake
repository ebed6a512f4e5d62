# The compile and link options of every target of the project; targets get them by linking vorin_options. The few that must not have the
# sanitizers, whatever the build has, link vorin_plain_options.
add_library(vorin_plain_options INTERFACE)
add_library(vorin_options INTERFACE)
target_link_libraries(vorin_options INTERFACE vorin_plain_options)

if(MSVC)
  target_compile_options(vorin_plain_options INTERFACE /W4 /WX /utf-8 /EHsc /wd5030) # 5030: an attribute of other compilers
  target_compile_definitions(vorin_plain_options INTERFACE _CRT_SECURE_NO_WARNINGS) # the C library's functions under their standard names
else()
  target_compile_options(
    vorin_plain_options
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wshadow
              -Wconversion
              $<$<COMPILE_LANGUAGE:CXX>:-fsized-deallocation> # Clang 14 has it off
              -ffp-contract=off # the pixel passes promise the bytes of separate multiplications and additions
              -Wno-sign-conversion # OpenCV counts in int, the standard library in size_t: a cast at each meeting hides more than it shows
              -Werror)
  foreach(folder IN LISTS PROJECT_SOURCE_DIR OpenCV_INCLUDE_DIRS) # OpenCV's checks name their file, but no folder of this machine
    target_compile_options(vorin_plain_options INTERFACE -fmacro-prefix-map=${folder}/=)
  endforeach()
endif()
if(MINGW)
  # Links the compiler's own libraries statically, so that a program or DLL needs only Windows' DLLs.
  target_link_options(vorin_plain_options INTERFACE -static)
elseif(NOT MSVC)
  # RUNPATH, not RPATH: a library search path of the user is searched before it, which is how the stand-ins for the hardware are found.
  target_link_options(vorin_plain_options INTERFACE -Wl,--enable-new-dtags)
endif()

# Hardening.
if(MSVC)
  target_compile_options(vorin_plain_options INTERFACE /guard:cf) # the rest is on by default
  target_link_options(vorin_plain_options INTERFACE /guard:cf)
else()
  target_compile_options(vorin_plain_options INTERFACE -fstack-protector-strong)
  if(MINGW)
    # The first option links the functions of all these checks.
    target_link_options(vorin_plain_options INTERFACE -fstack-protector-strong -Wl,--dynamicbase,--nxcompat,--high-entropy-va)
  else()
    target_link_options(vorin_plain_options INTERFACE -Wl,-z,relro,-z,now)
  endif()
  if(NOT VORIN_SANITIZE) # the C library's own checks, which need an optimising compiler; sanitizers bring checks of their own
    target_compile_options(vorin_plain_options
                           INTERFACE "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  endif()
endif()

if(WIN32)
  target_compile_definitions(vorin_plain_options INTERFACE _WIN32_WINNT=0x0A00 NOMINMAX WIN32_LEAN_AND_MEAN) # Windows 10
endif()

if(VORIN_SANITIZE)
  target_compile_options(vorin_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
                                                 -fno-omit-frame-pointer)
  target_link_options(vorin_options INTERFACE -fsanitize=address,undefined)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND VORIN_SANITIZE)
  # Clang links the sanitizers' functions into programs only, and those of two checks not into programs in C.
  target_compile_options(vorin_options INTERFACE -fno-sanitize=vptr,function)
elseif(NOT WIN32)
  target_link_options(vorin_options INTERFACE -Wl,--no-undefined)
endif()
