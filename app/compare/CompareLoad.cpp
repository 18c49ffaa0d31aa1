#include "app/compare/CompareLoad.h"

#include "workbench/ItemSetLoader.h"

#include <optional>
#include <stdexcept>

namespace {

CompareSource::Set loaded(const CompareSource& source, workbench::ItemSetLoader& loader,
                          const workbench::WorkControl& control) {
    if (source.load) {
        return source.load();
    }
    switch (source.origin) {
    case CompareSource::Origin::kPhone:
        return loader.fromPhone(source.place, control);
    case CompareSource::Origin::kCalibrationFile:
        return loader.fromCalibrationFile(source.place);
    case CompareSource::Origin::kJsonFile:
        return loader.fromJsonFile(source.place);
    default:
        throw std::runtime_error(source.label + " is closed.");
    }
}

} // namespace

std::shared_ptr<const workbench::SetComparison> loadAndCompare(CompareJob job, const workbench::WorkControl& control) {
    std::optional<workbench::ItemSetLoader> loader;
    for (std::size_t side = 0; side < job.sets.size(); ++side) {
        if (job.sets[side] != nullptr) {
            continue;
        }
        if (!loader) {
            loader.emplace(job.ringPath);
        }
        job.sets[side] = loaded(job.sources[side], *loader, control);
        if (job.sets[side] == nullptr || (control.isCancelled && control.isCancelled())) {
            return nullptr;
        }
    }
    return std::make_shared<const workbench::SetComparison>(job.sets[0], job.sets[1]);
}
