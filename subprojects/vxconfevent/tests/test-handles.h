#pragma once

#include "vxconfevent.h"

#include <gio/gio.h>

#include <memory>

template <auto Function> struct TestDeleter {
	template <typename T> void operator()(T *object) const
	{
		Function(object);
	}
};

template <typename T, auto Function>
using TestHandle = std::unique_ptr<T, TestDeleter<Function>>;

using ChangePtr = TestHandle<ConfigurationChange, configuration_change_free>;
using HandlePtr = TestHandle<ConfigurationEvent, configuration_event_free>;
using ProducerPtr = TestHandle<EventProducer, event_producer_free>;
using VariantPtr = TestHandle<GVariant, g_variant_unref>;
