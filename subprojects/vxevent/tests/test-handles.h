#pragma once

#include "vxevent.h"

#include <gio/gio.h>

#include <memory>
#include <string>

template <auto Function> struct TestDeleter {
	template <typename T> void operator()(T *object) const
	{
		Function(object);
	}
};

template <typename T, auto Function>
using TestHandle = std::unique_ptr<T, TestDeleter<Function>>;

using DeclarationPtr = TestHandle<EventDeclaration, event_declaration_free>;
using EventPtr = TestHandle<Event, event_free>;
using ProducerPtr = TestHandle<EventProducer, event_producer_free>;
using VariantPtr = TestHandle<GVariant, g_variant_unref>;

/// A variant in GVariant's text form, without type annotations: an int32 is 3,
/// a double 3.0, a boolean true. Takes over a floating one.
inline std::string text_of(GVariant *variant)
{
	const VariantPtr owned(g_variant_ref_sink(variant));
	const TestHandle<char, g_free> text(g_variant_print(variant, FALSE));
	return text.get();
}
