#pragma once

#include "util/glib-ptr.h"

/// The value that @p text stands for, in GVariant's text format.
inline util::VariantPtr parse_variant(const char *text)
{
	return util::VariantPtr(g_variant_ref_sink(g_variant_new_parsed(text)));
}
