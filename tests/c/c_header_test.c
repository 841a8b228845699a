/* Uses the public header from C99 and calls the shared library through it. */
#include <stdio.h>
#include <string.h>

#include "kwa.h"

/* Defined in the C++ translation unit that compiles the same header. */
int kwa_header_compiles_as_cxx(void);

static int failures;

static void check(int ok, const char *what) {
  if (!ok) {
    fprintf(stderr, "failed: %s\n", what);
    ++failures;
  }
}

int main(void) {
  uint32_t slot = 0;
  check(strcmp(kw_version(), "kwalib-3.07.TC2") == 0, "kw_version");
  check(strcmp(kw_lc_version(), "11") == 0, "kw_lc_version");
  check(kw_ext_errno(&slot) == &slot, "kw_ext_errno returns the handle");
  check(kw_setextfunc(&slot, KW_EXT_SLOTS, (kw_extfunc)0) == -1, "kw_setextfunc rejects index 18");
  check(slot == KW_EINVAL, "kw_setextfunc stores KW_EINVAL");
  check(kw_setextfunc(&slot, KW_EXT_CURRTIME, (kw_extfunc)0) == 0, "kw_setextfunc accepts index 17");
  {
    char name[KW_LC_FNAME_SIZE];
    char spec[KW_LC_SHORT_SIZE];
    check(kw_cs_nums2cv_fname(NULL, 819, 437, name, NULL) == 0 && strcmp(name, "033301b5.cvo") == 0,
          "kw_cs_nums2cv_fname");
    check(kw_lc_pieces2lc_spec(NULL, "en_US", "819", "euro", spec) == 0 && strcmp(spec, "en_US.819@euro") == 0,
          "kw_lc_pieces2lc_spec");
    check(kw_is_lc_spec(NULL, "KW_TIME = en_US.819 ; ") == 1, "kw_is_lc_spec");
  }
  check(kwa_header_compiles_as_cxx() == KW_EXT_SLOTS, "C++ view of the header");
  return failures == 0 ? 0 : 1;
}
