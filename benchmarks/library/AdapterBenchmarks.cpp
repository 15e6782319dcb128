// Chains of five adapters (crop, step, flip, convert, rescale) over memory, beside one conversion of as many values
// that lie one after the other: "of_one_pass" 1.0 is the speed of that. Bytes are those written.

#include "Ratio.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"

#include <string>

namespace {

using namespace zarnik;
using zarnik::benchmarks::Buffer;
using Factory = ImageViewFactory;
using Image = std::shared_ptr<ImageView>;

Image chainOver(Image const & image, RegionXu64 const & region, VectorXu64 const & steps) {
  auto view = Factory::extractRegion(image, region);
  view = Factory::flip(Factory::everyNth(view, steps), ImageDimension::ROW);
  view = Factory::adaptDataType(view, DataTypeId::FLOAT);
  return Factory::adaptDynamicRange(view, DataTypeId::FLOAT, {0, 65535}, {0, 1});
}

void chain(benchmark::State & state, VectorXu64 const & steps) {
  // 64 MiB of floats, whatever the steps.
  auto const image =
      Factory::allocate({512 * steps[0] + 40, 512 * steps[1] + 40, 64 * steps[2] + 2}, DataTypeId::UINT16);
  auto const view = chainOver(image, {{20, 30, 1}, {512 * steps[0], 512 * steps[1], 64 * steps[2]}}, steps);
  auto const samples = Factory::allocate(view->shape(), DataTypeId::UINT16);
  auto const dense = Factory::adaptDynamicRange(samples, DataTypeId::FLOAT, {0, 65535}, {0, 1});
  for (auto const & source : {image, samples})
    std::fill_n(static_cast<std::byte *>(source->buffer()), source->bufferSize(), std::byte{7}); // no page faults later
  auto const whole = RegionXu64::createFullRegion(view->shape());
  auto const bytes = whole.elementCount() * sizeof(float);
  Buffer const destination(bytes);
  benchmarks::measureBeside(
      state, "of_one_pass", bytes, [&] { dense->readRegion(whole, destination.data()); },
      [&] { view->readRegion(whole, destination.data()); });
}

void making(benchmark::State & state) {
  auto const image = Factory::allocate({64, 64, 64}, DataTypeId::UINT16);
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(chainOver(image, {{1, 2, 3}, {40, 40, 40}}, {2, 2, 2}));
}
BENCHMARK(making)->Name("chain_of_five/making");

void element(benchmark::State & state) {
  auto const view = Factory::flip(Factory::allocate({64, 64, 64}, DataTypeId::UINT16), ImageDimension::ROW);
  VectorXu64 const index{1, 2, 3};
  uint16_t value = 0;
  for ([[maybe_unused]] auto _ : state) {
    view->read(index, &value);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(element)->Name("flip/element");

int const registered = [] {
  for (auto const & steps : {VectorXu64{1, 1, 1}, VectorXu64{1, 1, 2}, VectorXu64{1, 2, 2}, VectorXu64{2, 2, 2}})
    benchmark::RegisterBenchmark(
        ("chain_of_five/64MiB/step" + std::to_string(steps[0]) + std::to_string(steps[1]) + std::to_string(steps[2]))
            .c_str(),
        chain, steps)
        ->UseManualTime();
  return 0;
}();

} // namespace
