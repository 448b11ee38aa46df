// What Debian's static OpenCV asks of LAPACK and OpenGL, which are not in the module. To a function
// that is not implemented OpenCV prefers its own, and without OpenGL it refuses its objects; the
// module uses neither.
#include <opencv2/core/hal/interface.h>

#include <cstddef>

namespace {

// Values of any type.
template <typename... Any>
int NotImplemented(Any... /*unused*/) {
  return CV_HAL_ERROR_NOT_IMPLEMENTED;
}

}  // namespace

// The names and parameters are OpenCV's, of a header that it does not install.
#define DIRTY_SEG_NO_LAPACK(BITS, REAL)                                                       \
  int lapack_LU##BITS(REAL* a, std::size_t b, int c, REAL* d, std::size_t e, int f, int* g);  \
  int lapack_LU##BITS(REAL* a, std::size_t b, int c, REAL* d, std::size_t e, int f, int* g) { \
    return NotImplemented(a, b, c, d, e, f, g);                                               \
  }                                                                                           \
  int lapack_Cholesky##BITS(REAL* a, std::size_t b, int c, REAL* d, std::size_t e, int f,     \
                            bool* g);                                                         \
  int lapack_Cholesky##BITS(REAL* a, std::size_t b, int c, REAL* d, std::size_t e, int f,     \
                            bool* g) {                                                        \
    return NotImplemented(a, b, c, d, e, f, g);                                               \
  }                                                                                           \
  int lapack_SVD##BITS(REAL* a, std::size_t b, REAL* c, REAL* d, std::size_t e, REAL* f,      \
                       std::size_t g, int h, int i, int j);                                   \
  int lapack_SVD##BITS(REAL* a, std::size_t b, REAL* c, REAL* d, std::size_t e, REAL* f,      \
                       std::size_t g, int h, int i, int j) {                                  \
    return NotImplemented(a, b, c, d, e, f, g, h, i, j);                                      \
  }                                                                                           \
  int lapack_QR##BITS(REAL* a, std::size_t b, int c, int d, int e, REAL* f, std::size_t g,    \
                      REAL* h, int* i);                                                       \
  int lapack_QR##BITS(REAL* a, std::size_t b, int c, int d, int e, REAL* f, std::size_t g,    \
                      REAL* h, int* i) {                                                      \
    return NotImplemented(a, b, c, d, e, f, g, h, i);                                         \
  }
#define DIRTY_SEG_NO_GEMM(BITS, REAL)                                                        \
  int lapack_gemm##BITS(const REAL* a, std::size_t b, const REAL* c, std::size_t d, REAL e,  \
                        const REAL* f, std::size_t g, REAL h, REAL* i, std::size_t j, int k, \
                        int l, int m, int n);                                                \
  int lapack_gemm##BITS(const REAL* a, std::size_t b, const REAL* c, std::size_t d, REAL e,  \
                        const REAL* f, std::size_t g, REAL h, REAL* i, std::size_t j, int k, \
                        int l, int m, int n) {                                               \
    return NotImplemented(a, b, c, d, e, f, g, h, i, j, k, l, m, n);                         \
  }

DIRTY_SEG_NO_LAPACK(32f, float)
DIRTY_SEG_NO_LAPACK(64f, double)
DIRTY_SEG_NO_GEMM(32f, float)
DIRTY_SEG_NO_GEMM(64f, double)
DIRTY_SEG_NO_GEMM(32fc, float)
DIRTY_SEG_NO_GEMM(64fc, double)

// No function of OpenGL has an address.
extern "C" void (*glXGetProcAddressARB(const unsigned char* name))();
extern "C" void (*glXGetProcAddressARB(const unsigned char* /*name*/))() { return nullptr; }
