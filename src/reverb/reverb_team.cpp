#include "reverb/reverb_team.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace korva {

void EndTeam() noexcept {
#ifdef _OPENMP
  omp_pause_resource_all(omp_pause_hard);
#endif
}

}  // namespace korva
