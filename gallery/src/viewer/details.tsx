import type { ComponentChildren } from 'preact';
import { useEffect, useState } from 'preact/hooks';
import type { Asset } from 'quorvin-client';
import { useApp } from '../app.js';
import { originalAddress } from '../library/addresses.js';
import { kKindNames, type Kind } from '../library/kinds.js';
import { Icon } from '../shell/icon.js';
import { durationText, momentText } from '../timeline/date_texts.js';

interface DetailsProps {
  readonly asset: Asset;
  readonly kind: Kind;
  readonly close: () => void;
}

interface FileFacts {
  readonly name: string | null;
  readonly size: number | null;
}

/** What is known of an asset and its file. */
export function Details({ asset, kind, close }: DetailsProps) {
  const facts = useFileFacts(asset.id);
  return (
    <aside class="details" role="region" aria-label="Details">
      <header>
        <h2>Details</h2>
        <button class="icon-button" aria-label="Close details" onClick={close}>
          <Icon name="close" />
        </button>
      </header>
      <dl>
        <Fact name="Date">{momentText(asset.creationDate)}</Fact>
        <Fact name="Kind">{kKindNames[kind]}</Fact>
        {asset.width > 0 && <Fact name="Size">{sizeText(asset)}</Fact>}
        {asset.duration > 0 && <Fact name="Duration">{durationText(asset.duration)}</Fact>}
        <Fact name="Favourite">{asset.isFavorite ? 'Yes' : 'No'}</Fact>
        {facts.name !== null && <Fact name="File">{facts.name}</Fact>}
        {facts.size !== null && <Fact name="File size">{bytesText(facts.size)}</Fact>}
        {asset.burstIdentifier !== '' && <Fact name="Burst">{asset.burstIdentifier}</Fact>}
        <Fact name="Changed">{momentText(asset.modificationDate)}</Fact>
        <Fact name="Identifier">{asset.id}</Fact>
      </dl>
    </aside>
  );
}

function Fact({ name, children }: { name: string; children: ComponentChildren }) {
  return (
    <div class="fact">
      <dt>{name}</dt>
      <dd>{children}</dd>
    </div>
  );
}

function useFileFacts(id: string): FileFacts {
  const { library } = useApp();
  const [facts, setFacts] = useState<FileFacts>({ name: null, size: null });
  useEffect(() => {
    const ending = new AbortController();
    setFacts({ name: null, size: null });
    const learn = (more: Partial<FileFacts>) => {
      if (!ending.signal.aborted) setFacts((known) => ({ ...known, ...more }));
    };
    library.getAssetOriginalFilename(id).then((name) => learn({ name }), () => {});
    fetch(originalAddress(id), { method: 'HEAD', signal: ending.signal }).then(
      ({ ok, headers }) => learn({ size: ok ? sizeIn(headers) : null }),
      () => {},
    );
    return () => ending.abort();
  }, [id]);
  return facts;
}

function sizeIn(headers: Headers): number | null {
  const length = headers.get('Content-Length');
  return length === null ? null : Number(length);
}

function sizeText({ width, height }: Asset): string {
  const megapixels = (width * height) / 1e6;
  const size = `${width} × ${height}`;
  return megapixels >= 1 ? `${size}, ${megapixels.toFixed(1)} megapixels` : size;
}

const kUnits = ['byte', 'kilobyte', 'megabyte', 'gigabyte'] as const;

function bytesText(bytes: number): string {
  const power = Math.min(Math.floor(Math.log10(Math.max(bytes, 1)) / 3), kUnits.length - 1);
  const unit = kUnits[power] ?? 'byte';
  const format = { style: 'unit', unit, maximumFractionDigits: power > 1 ? 1 : 0 } as const;
  return new Intl.NumberFormat(undefined, format).format(bytes / 1000 ** power);
}
