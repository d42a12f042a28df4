#include "reverb/reverb_team.h"

#include "platform/services.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace korva {

void EndTeam() noexcept {
#ifdef _OPENMP
  omp_pause_resource_all(omp_pause_hard);
#endif
}

void AbandonTeam() noexcept {
#ifdef _OPENMP
  platform::KeepModuleLoaded();
#endif
}

}  // namespace korva
