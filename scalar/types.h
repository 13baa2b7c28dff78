// Traits that bind each point precision to its interval, rectangle and disc
// types, so that one body serves both members of every family.
#pragma once

#include "ruf_interval.h"

namespace ruf {

template <class T> struct Real;

template <> struct Real<float> {
  using interval = ruf_si;
  using rect = ruf_cr;
  using disc = ruf_cc;
  using complex = ruf_c;
};

template <> struct Real<double> {
  using interval = ruf_di;
  using rect = ruf_zr;
  using disc = ruf_zc;
  using complex = ruf_z;
};

template <class T> using Interval = typename Real<T>::interval;

// The point type of an interval type.
template <class I> struct PointOf;
template <> struct PointOf<ruf_si> { using type = float; };
template <> struct PointOf<ruf_di> { using type = double; };

// What kind of value an interval type is, and the point type of its numbers.
enum class Shape { interval, rect, disc };
template <class P, Shape S> struct TargetOf {
  using T = P;
  static constexpr Shape shape = S;
};
template <class X> struct Target;
template <> struct Target<ruf_si> : TargetOf<float, Shape::interval> {};
template <> struct Target<ruf_di> : TargetOf<double, Shape::interval> {};
template <> struct Target<ruf_cr> : TargetOf<float, Shape::rect> {};
template <> struct Target<ruf_zr> : TargetOf<double, Shape::rect> {};
template <> struct Target<ruf_cc> : TargetOf<float, Shape::disc> {};
template <> struct Target<ruf_zc> : TargetOf<double, Shape::disc> {};

} // namespace ruf
