// How the rows of a member table are written:
//
//   constexpr Member kMembers[] = {
//       method<&CData::Selection>("Selection", {param("SelectCampi", ""), ...}, "Composes and opens a
//       SELECT."), property<&CData::m_Tabella>("m_Tabella", "Table used by query composition."),
//       property<&CSuperLog::OpenMode, &CSuperLog::set_OpenMode>("OpenMode", "..."),
//       read_only<&CData::Err_Number>("Err_Number", "..."),
//       constant("Conn_Jet", std::int16_t{2}, "Access/Jet database file."),
//   };
//
// A wrong number of parameters does not compile.
#pragma once

#include <tuple>
#include <utility>

#include "automation/argument.h"
#include "automation/member.h"

namespace quarno::automation {

constexpr Parameter param(std::string_view name) { return {name, {}}; }
constexpr Parameter param(std::string_view name, const char* fallback) {
  return {name, {Default::Kind::text, fallback, 0}};
}
constexpr Parameter param(std::string_view name, bool fallback) {
  return {name, {Default::Kind::boolean, {}, fallback ? 1 : 0}};
}
constexpr Parameter param(std::string_view name, int fallback) {
  return {name, {Default::Kind::number, {}, fallback}};
}
/// May be left out; the member then sees a `missing` variant.
constexpr Parameter optional_param(std::string_view name) { return {name, {Default::Kind::missing, {}, 0}}; }

namespace detail {

template <class M>
struct MethodTraits;
template <class C, class R, class... P>
struct MethodTraits<R (C::*)(P...)> {
  using Class = C;
  using Result = R;
  using Arguments = std::tuple<Argument<P>...>;
  static constexpr std::size_t kCount = sizeof...(P);

  static constexpr void describe(Member& member) {
    constexpr std::array<std::pair<std::string_view, bool>, kCount> kTypes = {
        std::pair{Argument<P>::kTypeName, Argument<P>::kWritesBack}...};
    for (std::size_t i = 0; i < kCount; ++i) {
      member.parameters[i].type_name = kTypes[i].first;
      member.parameters[i].writes_back = kTypes[i].second;
    }
    member.parameter_count = kCount;
    member.result_type = type_name<std::remove_cvref_t<R>>();
  }

  template <auto Method, std::size_t... I>
  static Variant apply(C& self, std::span<Variant> slots, std::index_sequence<I...>) {
    std::tuple<Argument<P>...> arguments{slots[I]...};
    const auto write_back = [&] { (std::get<I>(arguments).write_back(slots[I]), ...); };
    try {
      if constexpr (std::is_void_v<R>) {
        (self.*Method)(std::get<I>(arguments).get()...);
        write_back();
        return {};
      } else {
        Variant result = result_of((self.*Method)(std::get<I>(arguments).get()...));
        write_back();
        return result;
      }
    } catch (...) {
      // What was written before the failure reaches the caller all the same, as it does with real references.
      write_back();
      throw;
    }
  }
};
template <class C, class R, class... P>
struct MethodTraits<R (C::*)(P...) const> : MethodTraits<R (C::*)(P...)> {};

template <auto Method>
Variant call_method(Object& object, const Member&, std::span<Variant> slots) {
  using Traits = MethodTraits<decltype(Method)>;
  auto& self = static_cast<typename Traits::Class&>(object);
  return Traits::template apply<Method>(self, slots, std::make_index_sequence<Traits::kCount>());
}

template <auto Setter>
void put_by_method(Object& object, const Member&, Variant& value) {
  call_method<Setter>(object, Member{}, std::span(&value, 1));
}

template <class M>
struct FieldTraits;
template <class C, class T>
struct FieldTraits<T C::*> {
  using Class = C;
  using Type = T;
};

template <auto Field>
Variant get_field(Object& object, const Member&, std::span<Variant>) {
  return result_of(static_cast<typename FieldTraits<decltype(Field)>::Class&>(object).*Field);
}
template <auto Field>
void put_field(Object& object, const Member&, Variant& value) {
  using Traits = FieldTraits<decltype(Field)>;
  static_cast<typename Traits::Class&>(object).*Field = Argument<typename Traits::Type>(value).get();
}

template <class T>
Variant get_constant(Object&, const Member& member, std::span<Variant>) {
  return Variant(static_cast<T>(member.constant_value));
}

}  // namespace detail

template <auto Method, std::size_t N>
constexpr Member method(std::string_view name, const Parameter (&parameters)[N], std::string_view summary) {
  using Traits = detail::MethodTraits<decltype(Method)>;
  static_assert(N == Traits::kCount, "name every parameter of the method, and no more");
  static_assert(N <= kMaxParameters);
  Member member;
  member.name = name;
  member.summary = summary;
  for (std::size_t i = 0; i < N; ++i) member.parameters[i] = parameters[i];
  Traits::describe(member);
  member.call = &detail::call_method<Method>;
  return member;
}

template <auto Method>
constexpr Member method(std::string_view name, std::string_view summary) {
  using Traits = detail::MethodTraits<decltype(Method)>;
  static_assert(Traits::kCount == 0, "name every parameter of the method");
  Member member;
  member.name = name;
  member.summary = summary;
  Traits::describe(member);
  member.call = &detail::call_method<Method>;
  return member;
}

/// A value that the host only reads.
template <auto Getter>
constexpr Member read_only(std::string_view name, std::string_view summary) {
  Member member = method<Getter>(name, summary);
  member.kind = MemberKind::read_only;
  return member;
}

template <auto Getter, auto Setter>
constexpr Member property(std::string_view name, std::string_view summary) {
  Member member = method<Getter>(name, summary);
  member.kind = MemberKind::property;
  member.put = &detail::put_by_method<Setter>;
  return member;
}

/// A public variable.
template <auto Field>
constexpr Member property(std::string_view name, std::string_view summary) {
  Member member;
  member.name = name;
  member.summary = summary;
  member.kind = MemberKind::property;
  member.result_type = type_name<typename detail::FieldTraits<decltype(Field)>::Type>();
  member.call = &detail::get_field<Field>;
  member.put = &detail::put_field<Field>;
  return member;
}

template <class T>
constexpr Member constant(std::string_view name, T value, std::string_view summary) {
  Member member;
  member.name = name;
  member.summary = summary;
  member.kind = MemberKind::constant;
  member.result_type = type_name<T>();
  member.call = &detail::get_constant<T>;
  member.constant_value = value;
  return member;
}

}  // namespace quarno::automation
