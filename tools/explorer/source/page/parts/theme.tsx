// Light, dark, or as the system has it.
import { useState } from "preact/hooks";

type Theme = "system" | "light" | "dark";
const next: Record<Theme, Theme> = { system: "light", light: "dark", dark: "system" };
const words = { system: "as the system", light: "light", dark: "dark" };

// A browser may forbid a page from disk to keep anything.
function kept(): Theme {
  try {
    const theme = localStorage.getItem("theme");
    return theme === "light" || theme === "dark" ? theme : "system";
  } catch {
    return "system";
  }
}

function apply(theme: Theme): void {
  if (theme === "system") delete document.documentElement.dataset.theme;
  else document.documentElement.dataset.theme = theme;
  try {
    localStorage.setItem("theme", theme);
  } catch {
    // It holds until the page is closed.
  }
}

export const restoreTheme = (): void => apply(kept());

export function ThemeButton() {
  const [theme, setTheme] = useState(kept);
  const change = () => {
    apply(next[theme]);
    setTheme(next[theme]);
  };
  return (
    <button class="plain theme" onClick={change} title={`Colours: ${words[theme]}`}>
      <svg viewBox="0 0 20 20" width="18" height="18" aria-hidden="true">
        <circle cx="10" cy="10" r="7" fill="none" stroke="currentColor" stroke-width="1.6" />
        {theme !== "light" && <path fill="currentColor"
          d={theme === "dark" ? "M10 3a7 7 0 1 1 0 14a7 7 0 1 1 0-14" : "M10 3a7 7 0 0 1 0 14"} />}
      </svg>
      <span class="unseen">Colours: {words[theme]}</span>
    </button>
  );
}
