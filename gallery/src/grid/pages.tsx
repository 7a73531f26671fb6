/** The pages that show photos. */
import { useEffect, useState } from 'preact/hooks';
import { useApp } from '../app.js';
import { reasonOf } from '../shell/toasts.js';
import { titleOf } from '../shell/top_bar.js';
import type { Listing, ListingSource } from '../library/listing.js';
import { burstSource, gallerySource } from '../library/sources.js';
import type { Page } from '../shell/routing.js';
import { ViewerHost } from '../viewer/viewer_host.js';
import { EmptyAlbum, NoAccess, NoPhotos, Problem } from './empty_states.js';
import { Grid } from './grid.js';

export function PhotosPage() {
  const { galleries, library, isPermitted } = useApp();
  const id = galleries.allId.value;
  const listing = useListing(id, () => gallerySource(library, id as string, true));
  const { error } = galleries;
  if (isPermitted.value === false && (listing === null || isEmpty(listing))) return <NoAccess />;
  if (listing === null && error.value !== null) return <Problem text={reasonOf(error.value)} />;
  return <Photos page={{ name: 'photos' }} title="Photos" listing={listing} empty={<NoPhotos />} />;
}

export function AlbumPage({ id }: { id: string }) {
  const { galleries, library } = useApp();
  const gallery = galleries.find(id);
  const isKnown = galleries.list.value !== null;
  const kind = gallery?.type ?? null;
  const listing = useListing(kind && `${kind} ${id}`, () =>
    gallerySource(library, id, kind === 'smart'),
  );
  if (isKnown && gallery === undefined) return <Problem text="This album is no more." />;
  const page: Page = { name: 'album', id };
  return <Photos page={page} title={titleOf(gallery)} listing={listing} empty={<EmptyAlbum />} />;
}

export function BurstPage({ id }: { id: string }) {
  const { library } = useApp();
  const listing = useListing(id, () => burstSource(library, id));
  return <Photos page={{ name: 'burst', id }} title="Burst" listing={listing} empty={<EmptyAlbum />} />;
}

interface PhotosProps {
  readonly page: Page;
  readonly title: string;
  readonly listing: Listing | null;
  readonly empty: preact.ComponentChild;
}

function Photos({ page, title, listing, empty }: PhotosProps) {
  if (listing === null) return <div class="waiting" aria-busy="true" />;
  if (listing.error !== null) return <Problem text={reasonOf(listing.error)} />;
  if (isEmpty(listing)) return empty as preact.JSX.Element;
  return (
    <>
      <Grid key={title + page.name} page={page} title={title} listing={listing} />
      <ViewerHost page={page} listing={listing} />
    </>
  );
}

function isEmpty(listing: Listing): boolean {
  return listing.isKnown && listing.count === 0;
}

/** The listing of this key, from when the key is known; the component hears when it is empty or not. */
function useListing(key: string | null, source: () => ListingSource): Listing | null {
  const app = useApp();
  const [listing, setListing] = useState<Listing | null>(null);
  const [, setState] = useState('');
  useEffect(() => {
    if (key === null) return;
    const opened = app.openListing(source());
    setListing(opened);
    const look = () => setState(`${opened.count === 0} ${opened.isKnown} ${opened.error !== null}`);
    const end = opened.listen({ learned: look, replaced: look });
    return () => {
      end();
      app.closeListing(opened);
      setListing(null);
    };
  }, [key]);
  return listing;
}
