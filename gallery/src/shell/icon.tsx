import { kIconPaths, type IconName } from './icon_paths.js';

export function Icon({ name, isFilled = false }: { name: IconName; isFilled?: boolean }) {
  return (
    <svg class={isFilled ? 'icon filled' : 'icon'} viewBox="0 0 24 24" aria-hidden="true">
      <path d={kIconPaths[name]} />
    </svg>
  );
}

const kSvg = 'http://www.w3.org/2000/svg';

/** The same for what is drawn without components. */
export function iconElement(name: IconName, isFilled = false): SVGElement {
  const path = document.createElementNS(kSvg, 'path');
  path.setAttribute('d', kIconPaths[name]);
  const svg = document.createElementNS(kSvg, 'svg');
  svg.setAttribute('class', isFilled ? 'icon filled' : 'icon');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('aria-hidden', 'true');
  svg.append(path);
  return svg;
}
