#pragma once

/// The tabs of the root screen, in their order.
enum class MainTab { tracker, summary, screenshots, settings };
