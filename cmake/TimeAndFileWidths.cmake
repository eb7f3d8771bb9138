# Widths that differ on 32-bit targets (armhf): file offsets, inode numbers and time_t.
#
# On a 32-bit glibc target everything here is built for 64-bit file offsets and 64-bit
# time_t (glibc 2.34 and later; Debian 12 has 2.36). Without them:
#   - stat, lstat and fstat fail with EOVERFLOW for any file whose times lie past
#     19 January 2038, or whose inode number or size does not fit 32 bits (XFS, btrfs,
#     NFS): the checks made before trusting a file in /tmp, or before replacing one, would
#     then refuse every file on a device whose clock has passed 2038;
#   - time() itself fails after 2038, and gmtime_r and localtime_r cannot place a later
#     date.
# Consistency with the rest of the program: no public header of this project (nor of the
# platform interface) has a time_t, off_t, struct stat or a struct of seconds and fractions
# (a test checks it), so a firmware program built with either width links the libraries
# alike; and no call from the libraries or the tool into a compiled dependency (libcurl,
# OpenSSL, JsonCpp) passes one of them either (docs/porting.md says how this was
# checked). The one exception is the emulator: see vexozeph_platform_time_t below.
# On 64-bit targets both are already 64 bits, and nothing is added.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# For a target that shares time_t with a compiled dependency built with the platform's
# width: Debian 12's cpp-httplib is a shared library whose classes hold time_t members and
# whose timeout setters take it. Such a target only runs on today's clock.
function(vexozeph_platform_time_t target)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_options(${target} PRIVATE -U_TIME_BITS)
  endif()
endfunction()
