// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/expression.h"

#include <stdexcept>

#include "perflib_bits/record.h"

namespace perflib {

Expression::~Expression() = default;

std::list<std::string> Expression::get_dependencies() const {
  return {};
}

long double ConstExpression::eval(Record*, long) const {
  return value;
}

long double TimeExpression::eval(Record*, long t) const {
  return static_cast<long double>(t);
}

long double RefExpression::eval(Record* record, long) const {
  std::uint32_t at = record->get_context()->find(name);
  if (at == NO_INDEX) {
    throw std::runtime_error("unmatched field name");
  }
  return record->value_at(at);
}

std::list<std::string> RefExpression::get_dependencies() const {
  return {name};
}

long double EvalExpression::eval(Record* record, long t) const {
  long double r = right->eval(record, t);  // the right operand is evaluated first
  long double l = left->eval(record, t);
  return op(l, r);  // an empty op throws std::bad_function_call
}

std::list<std::string> EvalExpression::get_dependencies() const {
  std::list<std::string> names = left->get_dependencies();
  names.splice(names.end(), right->get_dependencies());
  return names;
}

long double DeprecatedExpression::eval(Record*, long) const {
  throw std::runtime_error("deprecated expression");
}

ExpressionPtr ex(long double value) {
  return std::make_shared<ConstExpression>(value);
}

ExpressionPtr ex(std::string name) {
  return std::make_shared<RefExpression>(std::move(name));
}

ExpressionPtr ex(ExpressionPtr e) {
  return e;
}

ExpressionPtr ex(ExpressionPtr a, ExpressionPtr b, EvalExpression::Op f) {
  return std::make_shared<EvalExpression>(std::move(a), std::move(b), std::move(f));
}

// The arithmetic is done in double precision and widened back.
namespace {

long double add(long double a, long double b) {
  return static_cast<double>(a) + static_cast<double>(b);
}
long double subtract(long double a, long double b) {
  return static_cast<double>(a) - static_cast<double>(b);
}
long double multiply(long double a, long double b) {
  return static_cast<double>(a) * static_cast<double>(b);
}
// deliberate: a zero divisor gives 0, so rates and ratios over an empty interval read 0.
long double divide(long double a, long double b) {
  double divisor = static_cast<double>(b);
  if (divisor == 0.0) {
    return 0;
  }
  return static_cast<double>(a) / divisor;
}

}  // namespace

ExpressionPtr operator+(ExpressionPtr a, ExpressionPtr b) {
  return ex(std::move(a), std::move(b), add);
}
ExpressionPtr operator-(ExpressionPtr a, ExpressionPtr b) {
  return ex(std::move(a), std::move(b), subtract);
}
ExpressionPtr operator*(ExpressionPtr a, ExpressionPtr b) {
  return ex(std::move(a), std::move(b), multiply);
}
ExpressionPtr operator/(ExpressionPtr a, ExpressionPtr b) {
  return ex(std::move(a), std::move(b), divide);
}

}  // namespace perflib
