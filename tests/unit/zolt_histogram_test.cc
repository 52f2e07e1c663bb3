// SPDX-License-Identifier: MIT
// What is made of measured times: quantiles, bins, and their drawings.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "zolt/bench_svg.h"

namespace {

using zolt::bin;
using zolt::histogram;

TEST(ZoltHistogram, QuantilesAreThoseOfTheNearestRank) {
  std::vector<double> samples;
  for (int i = 200; i >= 1; i--) samples.push_back(i);
  zolt::quantiles is = zolt::quantiles_of(samples);
  EXPECT_EQ(is.least, 1);
  EXPECT_EQ(is.median, 100);
  EXPECT_EQ(is.p90, 180);
  EXPECT_EQ(is.p99, 198);
  EXPECT_EQ(is.greatest, 200);
  EXPECT_EQ(is.mean, 100.5);
  is = zolt::quantiles_of({7, 1, 6, 2, 5, 3, 4});
  EXPECT_EQ(is.median, 4);
  EXPECT_EQ(is.p90, 7);
  is = zolt::quantiles_of({7});
  EXPECT_EQ(is.least, 7);
  EXPECT_EQ(is.median, 7);
  EXPECT_EQ(is.p99, 7);
  EXPECT_EQ(is.greatest, 7);
  EXPECT_EQ(zolt::quantiles_of({}).greatest, 0);
}

TEST(ZoltHistogram, BinsLieBetweenRoundNumbers) {
  std::vector<bin> bins = histogram({1.0, 1.1, 1.2, 2.2, 2.5});
  ASSERT_EQ(bins.size(), 5u);
  const double bounds[] = {1, 1.2, 1.5, 2, 2.5, 3};
  const size_t counts[] = {2, 1, 0, 1, 1};
  for (size_t i = 0; i < bins.size(); i++) {
    EXPECT_NEAR(bins[i].from, bounds[i], 1e-9);
    EXPECT_NEAR(bins[i].to, bounds[i + 1], 1e-9);
    EXPECT_EQ(bins[i].count, counts[i]) << i;
  }
  EXPECT_TRUE(histogram({}).empty());
}

// Each sample is counted once and in its bin, whatever the samples are.
TEST(ZoltHistogram, EverySampleIsInItsBin) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; round++) {
    std::vector<double> samples;
    double width = std::uniform_real_distribution<>(0, 6)(random);
    double middle = std::uniform_real_distribution<>(-3, 4)(random);
    for (int i = 0; i <= round % 50; i++)
      samples.push_back(std::pow(10, middle + width * (std::uniform_real_distribution<>(-0.5, 0.5)(random))));
    std::vector<bin> bins = histogram(samples);
    ASSERT_FALSE(bins.empty());
    ASSERT_LE(bins.size(), zolt::most_bins);
    EXPECT_NE(bins.front().count, 0u);
    EXPECT_NE(bins.back().count, 0u);
    for (size_t i = 0; i < bins.size(); i++) {
      auto inside = [&](double sample) { return sample >= bins[i].from && sample < bins[i].to; };
      EXPECT_EQ(bins[i].count, static_cast<size_t>(std::count_if(samples.begin(), samples.end(), inside)));
      if (i > 0) {
        EXPECT_EQ(bins[i].from, bins[i - 1].to);
      }
    }
  }
}

TEST(ZoltHistogram, TimesThatNoClockTellsAreCountedToo) {
  std::vector<bin> bins = histogram({0, 0, 1e-9});
  ASSERT_EQ(bins.size(), 1u);
  EXPECT_EQ(bins[0].count, 3u);
}

TEST(ZoltHistogram, TheFullestBarIsTheLongestAndTheLeastIsSeen) {
  std::vector<bin> bins = {{1, 2, 1000}, {2, 5, 0}, {5, 10, 500}, {10, 20, 1}};
  std::string drawn = zolt::draw(bins, false);
  EXPECT_EQ(drawn, "      1 ms |" + std::string(50, '#') + " 1000\n" +   //
                       "      2 ms |" + std::string(50, ' ') + " 0\n" +  //
                       "      5 ms |" + std::string(25, '#') + std::string(25, ' ') + " 500\n" + "     10 ms |#" +
                       std::string(49, ' ') + " 1\n");
  EXPECT_EQ(drawn.find('\x1b'), std::string::npos);
  EXPECT_NE(zolt::draw(bins, true).find("\x1b[36m#\x1b[0m"), std::string::npos);
}

TEST(ZoltHistogram, TimesHaveAUnitThatFits) {
  EXPECT_EQ(zolt::time_text(0), "0 ms");
  EXPECT_EQ(zolt::time_text(0.0123456), "12.3 us");
  EXPECT_EQ(zolt::time_text(1.5), "1.5 ms");
  EXPECT_EQ(zolt::time_text(200), "200 ms");
  EXPECT_EQ(zolt::time_text(1200), "1.2 s");
}

TEST(ZoltHistogram, ThePictureHasABarForEachBinAndEscapesItsTexts) {
  std::string drawn = zolt::draw_svg("<a & \"b\">\x1b", {{"one", "x < y", {{1, 2, 4}, {2, 5, 2}}}, {"none", "", {}}});
  EXPECT_NE(drawn.find("<title>&lt;a &amp; &quot;b&quot;&gt;?</title>"), std::string::npos) << drawn;
  EXPECT_NE(drawn.find("x &lt; y"), std::string::npos);
  EXPECT_NE(drawn.find("height=\"150.0\" fill=\"#2a78b5\"><title>1 ms to 2 ms: 4</title>"), std::string::npos) << drawn;
  EXPECT_NE(drawn.find("height=\"75.0\" fill=\"#2a78b5\"><title>2 ms to 5 ms: 2</title>"), std::string::npos) << drawn;
}

}  // namespace
